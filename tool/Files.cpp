#include "tool/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "drive/KRScsiMODiskDrive.h"
#include "tool/LibraryLog.h"

namespace tool {

namespace {

/// Without the library, which would follow a link and wait at a FIFO that took the place of the file meanwhile.
int openForReading(const std::string& path)
{
    const int handle = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (handle == -1)
        throw systemFailure("open", errno);
    struct stat file {};
    if (fstat(handle, &file) == 0 && S_ISREG(file.st_mode))
        return handle;
    close(handle);
    throw Failure(statusDeviceFailed, "is not a file any more");
}

} // namespace

File::File(KRScsiMODiskDrive& drive, const std::string& path, Mode mode)
    : _drive(drive), _handle(mode == reading ? openForReading(path) : drive.createFile(path, mode, 0))
{
    if (_handle <= 0)
        throw libraryFailure("open", drive);
}

File::~File()
{
    _drive.closeHandle(_handle);
}

std::size_t File::read(char* buffer, std::size_t length)
{
    constexpr std::size_t largestErrorNumber = 4095; // a read that failed gives the error's number as a count
    const std::size_t count = _drive.readFile(_handle, buffer, length);
    _position += count;
    // What was really read moved the position.
    const bool mayBeError = count <= largestErrorNumber;
    if (count > length || (mayBeError && lseek(_handle, 0, SEEK_CUR) != static_cast<off_t>(_position)))
        throw libraryFailure("read", _drive);
    return count;
}

void File::write(char* buffer, std::size_t length)
{
    while (length > 0) {
        const std::size_t count = _drive.writeFile(_handle, buffer, length);
        if (count == 0 || count > length)
            throw libraryFailure("write", _drive);
        buffer += count; // short of the length: the next one tells why
        length -= count;
    }
}

void File::dropCache() const
{
    posix_fadvise(_handle, 0, 0, POSIX_FADV_DONTNEED);
}

void makeFolder(KRScsiMODiskDrive& drive, const std::string& path)
{
    std::string text;
    if (drive.createDir(path) != 0 || drive.getLastError(text) != 0)
        throw libraryFailure("folder", drive);
}

} // namespace tool
