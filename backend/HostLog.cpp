#include "backend/HostLog.h"

#include <string>

#include "drive/KRScsiMODiskDrive.h"

void logToHost(int level, const long long& deviceId, std::initializer_list<std::string_view> pieces)
{
    if (KRScsiMODiskDrive::m_gpLogMessageCallbackFunc == nullptr)
        return;
    std::size_t length = 0;
    for (const std::string_view piece : pieces)
        length += piece.size();
    std::string message;
    message.reserve(length);
    for (const std::string_view piece : pieces)
        message += piece;
    KRScsiMODiskDrive::LogMessage(level, deviceId, message);
}

void logForDevice(int level, const long long& deviceId, std::string_view devicePath, std::string_view text)
{
    logToHost(level, deviceId, {"Device [", devicePath, "] - ", text});
}
