// The dumps around a SCSI command: sense data and data to the log, a blank-padded field to a string.

#include <cctype>
#include <cstdio>

#include "backend/HostLog.h"
#include "backend/KRBaseMODiskImpl.h"
#include "platform/UXScsi.h"

namespace {

std::string hexByte(unsigned char byte)
{
    char text[sizeof "0x00"];
    std::snprintf(text, sizeof text, "0x%02x", byte);
    return text;
}

} // namespace

void KRBaseMODiskImpl::printSense(const unsigned char* sense, int length)
{
    constexpr int bytesInRow = 14;
    LogEventMessage(errorLevel, "sense=(");
    for (int i = 0; i < length; ++i) {
        if (i > 0 && i % bytesInRow == 0)
            LogEventMessage(errorLevel, "       ");
        LogEventMessage(errorLevel, (i > 0 ? " " : "") + hexByte(sense[i]));
    }
    LogEventMessage(errorLevel, ")");
    // The newline inside is part of the message: hosts print it as it comes.
    LogEventMessage(errorLevel, "text=\"" + UXScsiSense::toText(sense[2], sense[12], sense[13], false) + "\"\n");
}

void KRBaseMODiskImpl::printData(const unsigned char* data, int length)
{
    constexpr int firstColumn = 6;
    constexpr int lastColumn = 74;
    std::string line = "data=(";
    int column = firstColumn;
    bool wrapped = false;
    for (int i = 0; i < length; ++i) {
        // Only the first byte is shown, and a wrapped dump loses its last line. Hosts read these lines by their
        // layout: showing more would break them.
        line += i == 0 ? hexByte(data[i]) : " ";
        column += i == 0 ? 4 : 5;
        if (column <= lastColumn)
            continue;
        LogEventMessage(errorLevel, line);
        LogEventMessage(errorLevel, "    ");
        line.clear();
        wrapped = true;
        column = firstColumn;
    }
    if (!wrapped)
        LogEventMessage(errorLevel, line);
    LogEventMessage(errorLevel, ")");
}

std::string KRBaseMODiskImpl::trimSpaces(const unsigned char* field, int length)
{
    while (length > 0 && std::isspace(field[length - 1]) != 0)
        --length;
    return length > 0 ? std::string(field, field + length) : std::string();
}
