#pragma once

#include <cstdint>
#include <string>

class KRScsiMODiskDrive;

namespace tool {

/// A file opened through a drive of the library, whose operations take any path: those of the medium, and those at
/// the other end of a copy. Whatever fails throws Failure.
class File {
public:
    enum Mode {
        reading = 0,
        writing = 2
    };

    /// For writing it is made where it is missing.
    File(KRScsiMODiskDrive& drive, const std::string& path, Mode mode);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    /// @return the count; fewer than `length` near the end of the file, 0 at it.
    std::size_t read(char* buffer, std::size_t length);

    /// Writes all of it.
    void write(char* buffer, std::size_t length);

    /// What was written and flushed is read from the medium next, not from the cache.
    void dropCache() const;

private:
    KRScsiMODiskDrive& _drive;
    int _handle;
    std::uint64_t _position = 0;
};

/// Makes a folder with all missing parents.
void makeFolder(KRScsiMODiskDrive& drive, const std::string& path);

} // namespace tool
