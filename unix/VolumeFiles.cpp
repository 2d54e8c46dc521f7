// The volume's descriptor, and files on the mounted medium.

#include <cerrno>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "backend/ConstantText.h"
#include "backend/HostLog.h"
#include "platform/KRMediaCodes.h"
#include "platform/KrException.h"
#include "unix/CaughtException.h"
#include "unix/DriveOpening.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

// Constants: a file operation allocates nothing for its messages.
constexpr ConstantText createEntry("In call KRUnixMODiskImpl::create_file().");
constexpr ConstantText readEntry("In call KRUnixMODiskImpl::read_file().");
constexpr ConstantText writeEntry("In call KRUnixMODiskImpl::write_file().");
constexpr ConstantText closeEntry("In call KRUnixMODiskImpl::close_handle().");
constexpr ConstantText freeSpaceEntry("In call KRUnixMODiskImpl::get_disc_free_space().");
constexpr ConstantText openFailed("Failed to open path in create_file()");
constexpr ConstantText readFailed("Failed to read file in FAT32 Impl.");
constexpr ConstantText readInconsistent("This file handle value is inconsistent in read_file()");
constexpr ConstantText writeInconsistent("This file descriptor value is inconsistent in write_file()");
constexpr ConstantText closeInconsistent("This file handle value is inconsistent in close_handle()");
constexpr ConstantText noLogicalDrive("Logical drive name has not been initialized in NTFS Impl.");

constexpr int noFlags = -1;

int openFlags(int accessMode, int openExisting)
{
    if (accessMode == KRAccessMode::forReading)
        return O_RDONLY;
    if (accessMode != KRAccessMode::forReadingAndWriting)
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
        _handle = -1;
        recordException(*this, errorLevel, exception, "KRUnixMODiskImpl::OpenVolume caught the exception");
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
