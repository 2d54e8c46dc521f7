#include "backend/KRBaseMODiskImpl.h"

#include <cstring>

#include "backend/HostLog.h"
#include "platform/MMS2BaseError.h"

KRBaseMODiskImpl::KRBaseMODiskImpl(const std::string& devicePath, int deviceNumber, void* context, krMO_Impl implType,
                                   const long long& deviceId)
    : _devicePath(devicePath), _context(context), _implType(implType), _deviceNumber(deviceNumber), _deviceId(deviceId)
{
}

KRBaseMODiskImpl::~KRBaseMODiskImpl() = default;

bool KRBaseMODiskImpl::Initialize()
{
    LogEventMessage(traceLevel, "In call KRBaseMODiskImpl::Initialize().");
    return _initialized;
}

bool KRBaseMODiskImpl::Uninitialize()
{
    LogEventMessage(traceLevel, "In call KRBaseMODiskImpl::Uninitialize().");
    if (!_initialized)
        return true;
    const bool wasInUse = _discMounted;
    _discMounted = false;
    _initialized = false;
    return !wasInUse;
}

bool KRBaseMODiskImpl::CheckDisc()
{
    // Hosts know this operation by the name in its line; it is not a slip.
    LogEventMessage(traceLevel, "In call KRBaseMODiskImpl::MountDisc().");
    return _initialized && _discMounted;
}

bool KRBaseMODiskImpl::GetLogicalVolume(std::string& /*volume*/)
{
    return false;
}

bool KRBaseMODiskImpl::DoEject(unsigned long /*timeoutSeconds*/)
{
    return true;
}

bool KRBaseMODiskImpl::GetDeviceSerialNumber(std::string& serial)
{
    serial.clear();
    return true;
}

bool KRBaseMODiskImpl::is_worm_media()
{
    return false;
}

krMO_Impl KRBaseMODiskImpl::getImplType()
{
    return _implType;
}

int KRBaseMODiskImpl::GetHandle()
{
    return _handle;
}

void KRBaseMODiskImpl::SetErrorCode(unsigned long code, const std::string& text)
{
    _errorCode = code;
    _errorText = text;
}

unsigned long KRBaseMODiskImpl::GetLastErrorCode(std::string& text) const
{
    text = _errorText;
    return _errorCode;
}

void KRBaseMODiskImpl::LogEventMessage(int level, const std::string& text)
{
    logForDevice(level, _deviceId, _devicePath, text);
}

unsigned int KRBaseMODiskImpl::Err_Handler(unsigned int nativeError)
{
    const unsigned int code = MMS2BaseError::ConvertToMMError(nativeError);
    const std::string text = std::strerror(static_cast<int>(nativeError));
    LogEventMessage(errorLevel, text);
    SetErrorCode(code, text);
    return nativeError;
}
