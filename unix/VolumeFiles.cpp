// The volume's descriptor, and files on the mounted medium.

#include <cerrno>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "backend/HostLog.h"
#include "platform/KrException.h"
#include "unix/DriveOpening.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

// The lines of the file operations are made once: a file operation allocates nothing for its messages.
const std::string createEntry = "In call KRUnixMODiskImpl::create_file().";
const std::string readEntry = "In call KRUnixMODiskImpl::read_file().";
const std::string writeEntry = "In call KRUnixMODiskImpl::write_file().";
const std::string closeEntry = "In call KRUnixMODiskImpl::close_handle().";
const std::string freeSpaceEntry = "In call KRUnixMODiskImpl::get_disc_free_space().";
const std::string openFailed = "Failed to open path in create_file()";
const std::string readFailed = "Failed to read file in FAT32 Impl.";
const std::string readInconsistent = "This file handle value is inconsistent in read_file()";
const std::string writeInconsistent = "This file descriptor value is inconsistent in write_file()";
const std::string closeInconsistent = "This file handle value is inconsistent in close_handle()";
const std::string noLogicalDrive = "Logical drive name has not been initialized in NTFS Impl.";

constexpr int forReading = 0;
constexpr int forReadingAndWriting = 2;
constexpr int noFlags = -1;

int openFlags(int accessMode, int openExisting)
{
    if (accessMode == forReading)
        return O_RDONLY;
    if (accessMode != forReadingAndWriting)
        return noFlags;
    return openExisting != 0 ? O_RDWR : O_RDWR | O_CREAT;
}

} // namespace

int KRUnixMODiskImpl::OpenVolume(bool /*openFlag*/)
{
    constexpr int tries = 5;
    const auto log = [this](int level, const std::string& text) { LogEventMessage(level, text); };
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::OpenVolume().");
    try {
        for (int i = 0; i < tries; ++i) {
            LogEventMessage(traceLevel, "Goint to Open the volume.Logical Drive Name :: " + _logicalDrive);
            const DriveOpening opening(_devicePath);
            _handle = opening.descriptor();
            if (opening.report(backendLevel, traceLevel, log))
                return _handle;
            Err_Handler(static_cast<unsigned int>(errno));
            sleep(DriveOpening::waitSeconds);
        }
    } catch (const KrException& exception) {
        LogEventMessage(errorLevel, exception.formatError());
        _handle = -1;
        SetErrorCode(1100, "KRUnixMODiskImpl::OpenVolume caught the exception");
    }
    return _handle;
}

int KRUnixMODiskImpl::create_file(const std::string& path, int accessMode, int openExisting)
{
    LogEventMessage(traceLevel, createEntry);
    const int flags = openFlags(accessMode, openExisting);
    if (flags == noFlags)
        return -1;
    constexpr mode_t mode = 0666; // under the umask; vfat's mount options decide in the end
    const int handle = open64(path.c_str(), flags, mode);
    if (handle == -1) {
        Err_Handler(static_cast<unsigned int>(errno));
        LogEventMessage(backendLevel, openFailed);
    }
    return handle;
}

long long KRUnixMODiskImpl::read_file(int handle, void* buffer, unsigned long length)
{
    LogEventMessage(traceLevel, readEntry);
    if (handle == -1) {
        LogEventMessage(backendLevel, readInconsistent);
        Err_Handler(EINVAL);
        return -1;
    }
    const ssize_t count = read(handle, buffer, length);
    if (count != -1)
        return count;
    LogEventMessage(backendLevel, readFailed);
    Err_Handler(static_cast<unsigned int>(errno));
    return errno; // as a count: hosts find the failure in the error state
}

long long KRUnixMODiskImpl::write_file(int handle, void* buffer, unsigned long length)
{
    LogEventMessage(traceLevel, writeEntry);
    if (handle == -1) {
        LogEventMessage(backendLevel, writeInconsistent);
        Err_Handler(EINVAL);
        return 0; // where read_file gives -1: hosts depend on both
    }
    const ssize_t count = write(handle, buffer, length);
    if (count == -1 || static_cast<unsigned long>(count) != length) {
        LogEventMessage(backendLevel,
                        "Failed to write file in FAT32 Impl.: To Write :: " + std::to_string(static_cast<int>(length)) +
                            ", Wrote :: " + std::to_string(static_cast<int>(count)));
        Err_Handler(static_cast<unsigned int>(errno)); // after a short write: what an earlier call left there
    }
    return count;
}

int KRUnixMODiskImpl::close_handle(int handle)
{
    LogEventMessage(traceLevel, closeEntry);
    if (handle != -1)
        return close(handle);
    LogEventMessage(backendLevel, closeInconsistent);
    Err_Handler(EINVAL);
    return -1;
}

bool KRUnixMODiskImpl::get_disc_free_space(KRQuadWord& available, KRQuadWord& free)
{
    LogEventMessage(traceLevel, freeSpaceEntry);
    if (_logicalDrive.empty()) {
        LogEventMessage(errorLevel, noLogicalDrive);
        Err_Handler(EINVAL);
        return false;
    }
    struct statvfs64 space {};
    if (statvfs64(_logicalDrive.c_str(), &space) == -1) {
        Err_Handler(static_cast<unsigned int>(errno));
        return false;
    }
    const unsigned long long blockSize = space.f_bsize; // hosts compare with f_bsize, not with f_frsize
    available = blockSize * space.f_bavail;
    free = blockSize * space.f_bfree;
    return true;
}
