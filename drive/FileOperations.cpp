// The file operations: each forwards to one operation of the backend.

#include <cerrno>
#include <utility>

#include "drive/KRScsiMODiskDrive.h"
#include "drive/OperationPattern.h"

namespace {

constexpr Operation createFileOperation("In call KRScsiMODiskDrive::createFile().");
constexpr Operation closeHandleOperation("In call KRScsiMODiskDrive::closeHandle().");
constexpr Operation freeSpaceOperation("In call KRScsiMODiskDrive::getDiscFreeSpace().");
constexpr Operation readFileOperation("In call KRScsiMODiskDrive::readFile().");
constexpr Operation writeFileOperation("In call KRScsiMODiskDrive::writeFile().");
constexpr Operation createDirOperation("In call KRScsiMODiskDrive::createDir().");

} // namespace

int KRScsiMODiskDrive::createFile(const std::string& path, int accessMode, int openExisting)
{
    int handle = 0;
    OperationPattern::onBackend(*this, createFileOperation, [&](KRBaseMODiskImpl& backend) {
        handle = backend.create_file(path, accessMode, openExisting);
        if (handle != 0)
            return;
        OperationPattern::copyBackendError(*this);
        // With this code the backend's kind would decide. Nothing hangs on it today.
        if (_errorCode == KRErrorCode::reserved)
            static_cast<void>(backend.getImplType());
    });
    return handle;
}

void KRScsiMODiskDrive::closeHandle(int handle)
{
    OperationPattern::onBackend(*this, closeHandleOperation, [&](KRBaseMODiskImpl& backend) {
        backend.close_handle(handle);
        // Copied after a success too: hosts read the state of the whole file's life here.
        OperationPattern::copyBackendError(*this);
    });
}

bool KRScsiMODiskDrive::getDiscFreeSpace(KRQuadWord& available, KRQuadWord& free)
{
    return OperationPattern::fileOperation<bool>(*this, freeSpaceOperation, [&](KRBaseMODiskImpl& backend) {
        return backend.get_disc_free_space(available, free);
    });
}

unsigned long KRScsiMODiskDrive::readFile(int handle, void* buffer, unsigned long length)
{
    return OperationPattern::fileOperation<unsigned long>(
        *this, readFileOperation, [&](KRBaseMODiskImpl& backend) { return backend.read_file(handle, buffer, length); });
}

unsigned long KRScsiMODiskDrive::writeFile(int handle, void* buffer, unsigned long length)
{
    return OperationPattern::fileOperation<unsigned long>(*this, writeFileOperation, [&](KRBaseMODiskImpl& backend) {
        return backend.write_file(handle, buffer, length);
    });
}

int KRScsiMODiskDrive::createDir(std::string path)
{
    int result = 0;
    OperationPattern::onBackend(*this, createDirOperation, [&](KRBaseMODiskImpl& backend) {
        if (!backend.createDirectory(std::move(path)))
            result = errno;
    });
    return result;
}
