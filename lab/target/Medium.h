#pragma once

#include <string>
#include <vector>

#include "lab/support/SystemCall.h"
#include "lab/target/DataBuffer.h"

namespace lab {

struct BlockRange {
    uint64_t first = 0;
    uint64_t number = 0;

    bool contains(uint64_t block) const { return block >= first && block - first < number; }
};

/// A medium: its contents are a file, which may be changed by others while no drive reads it. What is wrong with it
/// goes with it from drive to drive.
class Medium {
public:
    /// @param path the file with the contents, whose size is the medium's; throws std::system_error
    Medium(const std::string& path, uint32_t sectorSize);

    /// All that is to be known to make it again: "file=...,sector-size=512,write-protect=no", and what is wrong with
    /// it.
    std::string description() const;

    uint32_t sectorSize() const { return _sectorSize; }
    uint64_t blocks() const { return _blocks; }

    /// Reads as many blocks as the buffer holds, up to one that can't be read. @return the number read
    uint64_t read(uint64_t first, const DataBuffer& data) const;

    /// Writes as many blocks as the buffer holds, up to one that can't be written; what is to be lost is counted, but
    /// not written. @return the number written
    uint64_t write(uint64_t first, const DataBuffer& data) const;

    /// Sets one property, as lab/README.md lists them; false where a medium has no such key. Throws
    /// std::invalid_argument for a value that the key does not know.
    bool set(const std::string& key, const std::string& value);

    /// Makes all blocks good again.
    void heal();

    bool isWriteProtected() const { return _isWriteProtected; }

private:
    using Ranges = std::vector<BlockRange>;

    uint64_t goodBlocks(const Ranges& bad, uint64_t first, uint64_t number) const;

    std::string _path;
    std::string _faults;
    Descriptor _file;
    uint32_t _sectorSize;
    uint64_t _blocks;
    bool _isWriteProtected = false;
    Ranges _unreadable;
    Ranges _unwritable;
    Ranges _lost;
};

} // namespace lab
