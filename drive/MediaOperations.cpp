// The media operations that every drive has: load, serial number, logical volume, and the fixed answers of the
// generic drive.

#include "drive/KRScsiMODiskDrive.h"
#include "drive/OperationPattern.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

constexpr Operation loadOperation("In call KRScsiMODiskDrive::load().");
constexpr Operation unloadOperation("In call KRScsiMODiskDrive::unload().");
constexpr Operation eraseOperation("In call KRScsiMODiskDrive::eraseDisk().");
constexpr Operation serialNumberOperation("In call KRScsiMODiskDrive::getSerialNumber().");
constexpr Operation logicalVolumeOperation("In call KRScsiMODiskDrive::getLogicalVolume().");
constexpr Operation wormOperation("In call KRScsiMODiskDrive::isMediaWORM().");

} // namespace

unsigned long KRScsiMODiskDrive::load()
{
    return OperationPattern::forward(*this, loadOperation, [this](KRBaseMODiskImpl& backend) {
        return backend.DoLoad(static_cast<unsigned long>(loadTimeOut()));
    });
}

unsigned long KRScsiMODiskDrive::getSerialNumber(std::string& serial)
{
    return OperationPattern::forward(*this, serialNumberOperation, [&serial](KRBaseMODiskImpl& backend) {
        return backend.GetDeviceSerialNumber(serial);
    });
}

unsigned long KRScsiMODiskDrive::getLogicalVolume(std::string& volume)
{
    // The entry line comes twice, and an exception is told with eraseDisk's text: hosts know the lines so.
    LogEventMessage(traceLevel, logicalVolumeOperation.entry);
    OperationPattern::enter(*this, logicalVolumeOperation);
    OperationPattern::guard(*this, eraseOperation, [&] {
        if (_logicalDrive.empty() && !KRUnixMODiskImpl::GetLogicaldriveLetter(_devicePath, _logicalDrive)) {
            LogEventMessage(traceLevel, "Failed to find out the logical drive letter for " + _devicePath + ".");
            _errorCode = KRErrorCode::logicalDriveNotFound;
        }
        volume = _logicalDrive;
    });
    return _errorCode;
}

unsigned long KRScsiMODiskDrive::unload()
{
    LogEventMessage(traceLevel, unloadOperation.entry);
    return _errorCode;
}

unsigned long KRScsiMODiskDrive::eraseDisk(const std::string& /*what*/)
{
    LogEventMessage(traceLevel, loadOperation.entry); // load's line, as hosts know it
    return _errorCode;
}

bool KRScsiMODiskDrive::isMediaWORM(int, int& /*isWorm*/)
{
    LogEventMessage(traceLevel, wormOperation.entry);
    return false;
}

unsigned long KRScsiMODiskDrive::mount()
{
    return ~0UL;
}

std::string KRScsiMODiskDrive::getMountPath()
{
    return {};
}

std::string KRScsiMODiskDrive::getDevicePath()
{
    return {};
}
