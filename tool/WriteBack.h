#pragma once

#include <cstdint>
#include <deque>

#include "tool/Descriptor.h"
#include "tool/File.h"

namespace tool {

/// Has the system write to the device as one goes, and keeps it within a few MiB behind: what is told of the progress
/// is the device's, and no flush takes so long that an interrupt would wait for it.
class WriteBack {
public:
    /// @throws Failure when what was written to this file or one before it did not get to the device.
    void wrote(const File& file, std::uint64_t position, std::uint64_t bytes);

    /// Lets go of the files. What is under way is waited for by the flush of the file system.
    void forget();

private:
    struct Piece {
        Descriptor file;
        off64_t position;
        off64_t bytes;
    };

    void awaitFirst();

    std::deque<Piece> _pieces;
    std::uint64_t _bytes = 0;
};

} // namespace tool
