#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "tool/Descriptor.h"
#include "tool/Folder.h"

class KRScsiMODiskDrive;

namespace tool {

/// An open file of the medium, which is read and written by the library's operations, or of the machine, which is by
/// the system's: the library's would follow links, and make files for all to read. Whatever fails throws Failure.
class File {
public:
    enum class Maker {
        library, ///< on a mount that nobody else can reach
        system,
    };

    /// Opens a file that is there. @param drive null: the file is the machine's.
    static File reading(const Folder& folder, const std::string& name, KRScsiMODiskDrive* drive);

    /// Makes a file. Nobody else can read it before it is `opened`, where the file system knows modes.
    static File writing(const Folder& folder, const std::string& name, KRScsiMODiskDrive* drive, Maker maker);

    int number() const { return _descriptor.number(); }

    /// @return the count; fewer than `length` near the end of the file, 0 at it.
    std::size_t read(char* buffer, std::size_t length);

    /// Writes all of it.
    void write(char* buffer, std::size_t length);

    struct stat status() const;

    /// Gives it the rights that a new file usually has.
    void open() const;

    /// Sets the time of the last modification.
    void setModified(const timespec& time) const;

    /// What was written and flushed is read from the medium next, not from the cache.
    void dropCache() const;

private:
    File(Descriptor descriptor, KRScsiMODiskDrive* drive) : _descriptor(std::move(descriptor)), _drive(drive) {}
    std::size_t readByLibrary(char* buffer, std::size_t length);

    Descriptor _descriptor;
    KRScsiMODiskDrive* _drive;
    std::uint64_t _position = 0;
};

} // namespace tool
