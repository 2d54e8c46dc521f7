#include "tool/File.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "drive/KRScsiMODiskDrive.h"
#include "tool/Failure.h"
#include "tool/LibraryLog.h"

namespace tool {

namespace {

constexpr mode_t untilWhole = 0600;

/// What a new file gets that nobody speaks of the rights of.
mode_t usualMode()
{
    const mode_t mask = umask(077);
    umask(mask);
    return 0666 & ~mask;
}

Descriptor made(KRScsiMODiskDrive& drive, const Folder& folder, const std::string& name)
{
    constexpr int forReadingAndWriting = 2;
    if (folder.look(name)) // which the library would open
        throw systemFailure("open", EEXIST);
    const int handle =
        drive.createFile("/proc/self/fd/" + std::to_string(folder.number()) + "/" + name, forReadingAndWriting, 0);
    if (handle <= 0)
        throw libraryFailure("open", drive);
    return Descriptor(handle);
}

} // namespace

File File::reading(const Folder& folder, const std::string& name, KRScsiMODiskDrive* drive)
{
    File file(folder.open(name, O_RDONLY | O_NONBLOCK), drive); // a FIFO may have taken its place
    if (!S_ISREG(file.status().st_mode))
        throw Failure(statusDeviceFailed, "is not a file any more");
    return file;
}

File File::writing(const Folder& folder, const std::string& name, KRScsiMODiskDrive* drive, Maker maker)
{
    try {
        if (maker == Maker::library)
            return {made(*drive, folder, name), drive};
        return {folder.open(name, O_RDWR | O_CREAT | O_EXCL, untilWhole), drive};
    } catch (const Failure&) {
        if (folder.look(name)) // two names may lead to one, and which do is up to the file system
            throw Failure(statusWrongUse, "has the same name as another one there");
        throw;
    }
}

std::size_t File::read(char* buffer, std::size_t length)
{
    if (_drive != nullptr)
        return readByLibrary(buffer, length);
    const ssize_t count = ::read(number(), buffer, length);
    if (count == -1)
        throw systemFailure("read", errno);
    return static_cast<std::size_t>(count);
}

std::size_t File::readByLibrary(char* buffer, std::size_t length)
{
    constexpr std::size_t largestErrorNumber = 4095; // a read that failed gives the error's number as a count
    const std::size_t count = _drive->readFile(number(), buffer, length);
    _position += count;
    // What was really read moved the position.
    const bool mayBeError = count <= largestErrorNumber;
    if (count > length || (mayBeError && lseek(number(), 0, SEEK_CUR) != static_cast<off_t>(_position)))
        throw libraryFailure("read", *_drive);
    return count;
}

void File::write(char* buffer, std::size_t length)
{
    while (length > 0) {
        const std::size_t count = _drive != nullptr ? _drive->writeFile(number(), buffer, length)
                                                    : static_cast<std::size_t>(::write(number(), buffer, length));
        if (count == 0 || count > length)
            throw _drive != nullptr ? libraryFailure("write", *_drive) : systemFailure("write", errno);
        buffer += count; // short of the length: the next one tells why
        length -= count;
    }
}

struct stat File::status() const
{
    struct stat file {};
    if (fstat(number(), &file) == -1)
        throw systemFailure("look", errno);
    return file;
}

void File::open() const
{
    if (fchmod(number(), usualMode()) == -1 && errno != EPERM && errno != EOPNOTSUPP) // FAT has none to give
        throw systemFailure("rights", errno);
}

void File::setModified(const timespec& time) const
{
    const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, time};
    if (futimens(number(), times.data()) == -1)
        throw systemFailure("time", errno);
}

void File::dropCache() const
{
    posix_fadvise(number(), 0, 0, POSIX_FADV_DONTNEED);
}

} // namespace tool
