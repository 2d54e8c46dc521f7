#include "drive/KRScsiMODiskDrive.h"

#include "backend/HostLog.h"
#include "drive/KRHardDiskDrive.h"
#include "drive/OperationPattern.h"

KRScsiMODiskDrive::LogMessageCallback KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = nullptr;

namespace {

constexpr Operation openOperation("In call KRScsiMODiskDrive::open().");
constexpr Operation closeOperation("In call KRScsiMODiskDrive::close().");

} // namespace

KRScsiMODiskDrive* KRScsiMODiskDrive::instance(int deviceType, const std::string& devicePath, const long long& deviceId,
                                               bool openFlag)
{
    LogMessage(traceLevel, noDevice, "In KRScsiMODiskDrive::instance()");
    std::unique_ptr<KRScsiMODiskDrive> drive;
    if (KRDeviceType::isHardDisk(deviceType))
        drive = std::make_unique<KRHardDiskDrive>(devicePath, deviceType, deviceId, openFlag);
    LogMessage(traceLevel, noDevice, "Going to Open() the volume");
    if (drive && !drive->open(openFlag))
        return nullptr;
    // Logged for an unknown type too, where nothing was opened: hosts test the result for null.
    LogMessage(traceLevel, noDevice, "Opened the volume");
    return drive.release();
}

KRScsiMODiskDrive::KRScsiMODiskDrive(const std::string& devicePath, int deviceType, const long long& deviceId,
                                     bool /*openFlag*/)
    : _deviceType(deviceType), _devicePath(devicePath), _deviceId(deviceId)
{
}

KRScsiMODiskDrive::~KRScsiMODiskDrive()
{
    KRScsiMODiskDrive::close();
}

bool KRScsiMODiskDrive::open(bool /*openFlag*/)
{
    LogEventMessage(traceLevel, openOperation.entry);
    return false;
}

void KRScsiMODiskDrive::close()
{
    LogEventMessage(traceLevel, closeOperation.entry);
    _impl.reset();
}

bool KRScsiMODiskDrive::isValid()
{
    return _impl != nullptr && _impl->IsValid();
}

long KRScsiMODiskDrive::loadTimeOut() const
{
    return _loadTimeOut;
}

long KRScsiMODiskDrive::unloadTimeOut() const
{
    return _unloadTimeOut;
}

bool KRScsiMODiskDrive::Supported(const std::string& /*devicePath*/, bool& supported, std::string& /*text*/)
{
    supported = false;
    return false;
}

bool KRScsiMODiskDrive::Supported(const std::string& devicePath, const std::string& /*second*/, int, int, int,
                                  bool& supported, std::string& text)
{
    return Supported(devicePath, supported, text);
}

void KRScsiMODiskDrive::LogMessage(int level, const long long& deviceId, const std::string& text)
{
    if (m_gpLogMessageCallbackFunc == nullptr)
        return;
    try {
        m_gpLogMessageCallbackFunc(level, deviceId, text);
    } catch (...) { // NOLINT(bugprone-empty-catch): a host's trouble with its log must not end an operation
    }
}

void KRScsiMODiskDrive::LogEventMessage(int level, const std::string& text)
{
    logForDevice(level, _deviceId, _devicePath, text);
}

unsigned long KRScsiMODiskDrive::getLastError(std::string& text) const
{
    text = _errorText;
    return _errorCode;
}

void KRScsiMODiskDrive::SetErrorCode(unsigned long code, const std::string& text)
{
    _errorCode = code;
    _errorText = text;
}
