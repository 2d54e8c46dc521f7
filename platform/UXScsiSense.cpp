#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "platform/UXScsi.h"

namespace {

constexpr std::array<const char*, 16> senseKeyNames = {
    "NO SENSE",       "RECOVERED ERROR", "NOT READY",   "MEDIUM ERROR",    "HARDWARE ERROR", "ILLEGAL REQUEST",
    "UNIT ATTENTION", "DATA PROTECT",    "BLANK CHECK", "VENDOR SPECIFIC", "COPY ABORTED",   "ABORTED COMMAND",
    "RESERVED",       "VOLUME OVERFLOW", "MISCOMPARE",  "COMPLETED",
};

struct AdditionalSense {
    unsigned int code; ///< ASC in the upper byte, ASCQ in the lower
    const char* name;
};

/// T10's list for direct-access and optical memory devices.
constexpr AdditionalSense additionalSenses[] = {
#include "platform/AscAscq.inc"
};

constexpr bool isSorted()
{
    for (std::size_t i = 1; i < std::size(additionalSenses); ++i) {
        if (additionalSenses[i - 1].code >= additionalSenses[i].code)
            return false;
    }
    return true;
}

static_assert(isSorted(), "names are found by bisection");

const char* nameOf(unsigned int code)
{
    const auto* const found =
        std::lower_bound(std::begin(additionalSenses), std::end(additionalSenses), code,
                         [](const AdditionalSense& sense, unsigned int wanted) { return sense.code < wanted; });
    return found != std::end(additionalSenses) && found->code == code ? found->name : nullptr;
}

std::string hexByte(unsigned char byte)
{
    char text[sizeof "0x00"];
    std::snprintf(text, sizeof text, "0x%02x", byte);
    return text;
}

/// Codes whose qualifier is a number of the drive's rather than a place in the list, and the rest.
std::string unlistedText(unsigned char asc, unsigned char ascq)
{
    constexpr unsigned char diagnosticFailure = 0x40;
    constexpr unsigned char firstComponent = 0x80;
    constexpr unsigned char taggedOverlappedCommands = 0x4d;
    if (asc == diagnosticFailure && ascq >= firstComponent)
        return "DIAGNOSTIC FAILURE ON COMPONENT " + hexByte(ascq);
    if (asc == taggedOverlappedCommands)
        return "TAGGED OVERLAPPED COMMANDS (TASK TAG " + hexByte(ascq) + ")";
    return "ASC " + hexByte(asc) + " ASCQ " + hexByte(ascq);
}

} // namespace

std::string UXScsiSense::toText(unsigned char senseKey, unsigned char asc, unsigned char ascq, bool /*flag*/)
{
    const char* const name = nameOf(asc * 0x100U + ascq);
    return std::string(senseKeyNames[senseKey & 0x0f]) + ": " + (name != nullptr ? name : unlistedText(asc, ascq));
}
