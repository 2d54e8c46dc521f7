#include "unix/KRUnixMODiskImpl.h"

#include <utility>

#include "backend/HostLog.h"

std::vector<DiskInfo> KRUnixMODiskImpl::_diskData;
std::vector<PartInfo> KRUnixMODiskImpl::_partData;
bool KRUnixMODiskImpl::bExceptionCaught = false;

KRUnixMODiskImpl::KRUnixMODiskImpl(const std::string& devicePath, const std::string& logicalDrive, int deviceKind,
                                   const long long& deviceId, bool openFlag)
    : KRBaseMODiskImpl(devicePath, deviceKind, nullptr, krMO_Unix, deviceId), _logicalDrive(logicalDrive),
      _openFlag(openFlag)
{
}

KRUnixMODiskImpl::~KRUnixMODiskImpl() = default;

bool KRUnixMODiskImpl::Init()
{
    const bool uninitialized = Uninitialize();
    if (uninitialized)
        _handle = OpenVolume(_openFlag);
    if (!uninitialized || _handle == -1)
        LogEventMessage(errorLevel, "Failed to initialize NTFS implementation."); // hosts know the line as it is
    return true; // also after a failure: callers ask IsValid()
}

bool KRUnixMODiskImpl::Uninit()
{
    return true;
}

bool KRUnixMODiskImpl::IsValid()
{
    return _handle != -1;
}

std::string KRUnixMODiskImpl::getMountPoint()
{
    return _mountPoint;
}

std::string KRUnixMODiskImpl::getNativePath()
{
    return _nativePath;
}

std::string KRUnixMODiskImpl::getFSType()
{
    return _fsType;
}

std::string KRUnixMODiskImpl::getPartNativePath()
{
    return _partNativePath;
}

void KRUnixMODiskImpl::setNativePath(std::string path)
{
    _nativePath = std::move(path);
}

void KRUnixMODiskImpl::setMountPoint(std::string path)
{
    _mountPoint = std::move(path);
}

void KRUnixMODiskImpl::setFSType(std::string fsType)
{
    _fsType = std::move(fsType);
}

void KRUnixMODiskImpl::setPartNativePath(std::string path)
{
    _partNativePath = std::move(path);
}
