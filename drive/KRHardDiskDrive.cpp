#include "drive/KRHardDiskDrive.h"

#include "drive/OperationPattern.h"
#include "unix/CaughtException.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

constexpr long timeOutSeconds = 60;

constexpr Operation openOperation("In call KRHardDiskDrive::open().");
constexpr Operation loadOperation("In call KRHardDiskDrive::load().");
constexpr Operation unloadOperation("In call KRHardDiskDrive::unload().");

// These two speak with the base class's name: hosts look for the lines in this form.
constexpr Operation mountOperation("In call KRScsiMODiskDrive::mount().");
constexpr Operation unmountOperation("In call KRScsiMODiskDrive::unmount().");

} // namespace

KRHardDiskDrive::KRHardDiskDrive(const std::string& devicePath, int deviceType, const long long& deviceId,
                                 bool openFlag)
    : KRScsiMODiskDrive(devicePath, deviceType, deviceId, openFlag)
{
    _loadTimeOut = timeOutSeconds;
    _unloadTimeOut = timeOutSeconds;
}

KRHardDiskDrive::~KRHardDiskDrive() = default;

bool KRHardDiskDrive::open(bool openFlag)
{
    try {
        LogEventMessage(traceLevel, openOperation.entry);
        if (!KRUnixMODiskImpl::GetLogicaldriveLetter(_devicePath, _logicalDrive)) {
            LogEventMessage(errorLevel, "Failed to find out the logical drive letter for " + _devicePath + ".");
            recordCaughtException(*this);
            return false;
        }
        close();
        // The backend speaks with identifier 0, not with the drive's: hosts tell the two layers apart by it.
        constexpr long long backendId = 0;
        _impl = std::make_unique<KRUnixMODiskImpl>(_devicePath, _logicalDrive, -1, backendId, openFlag);
        _impl->Init(); // always true; isValid() tells whether the volume could be opened
        return true;
    } catch (...) {
        return false; // without a code; a backend that is stored already stays
    }
}

unsigned long KRHardDiskDrive::load()
{
    _errorCode = 0;
    return _errorCode;
}

unsigned long KRHardDiskDrive::unload()
{
    OperationPattern::enter(*this, unloadOperation);
    if (_impl == nullptr || _impl->GetHandle() == -1)
        return 0;
    bool done = false;
    // The text of an exception names load: hosts know it so.
    OperationPattern::guard(*this, loadOperation, [this, &done] {
        const auto timeOut = [this] { return static_cast<unsigned long>(unloadTimeOut()); };
        done = _impl->DoUnload(timeOut()) && _impl->DoEject(timeOut());
        if (!done)
            OperationPattern::copyBackendError(*this);
    });
    return done ? 0 : _errorCode; // what the host's callback stored meanwhile is no failure
}

unsigned long KRHardDiskDrive::mount()
{
    bool isNotFat32 = false;
    OperationPattern::onBackend(*this, mountOperation, [&](KRBaseMODiskImpl& backend) {
        if (backend.DoMount())
            return;
        OperationPattern::copyBackendError(*this);
        if (_errorCode != KRErrorCode::wrongArguments)
            return;
        SetErrorCode(KRErrorCode::notFat32, "Either the media is not FAT32 formated or wrong arguments to mount.");
        isNotFat32 = true;
    });
    return isNotFat32 ? KRErrorCode::notFat32 : _errorCode; // whatever a derived class keeps of it
}

unsigned long KRHardDiskDrive::unmount()
{
    return OperationPattern::forward(*this, unmountOperation,
                                     [](KRBaseMODiskImpl& backend) { return backend.DoUnMount(); });
}

std::string KRHardDiskDrive::getMountPath()
{
    return _impl == nullptr ? std::string() : _impl->getMountPoint();
}

std::string KRHardDiskDrive::getDevicePath()
{
    return _impl == nullptr ? std::string() : _impl->getNativePath();
}
