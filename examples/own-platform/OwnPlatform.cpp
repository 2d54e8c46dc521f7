// A host's own platform: its numbers for errors and its way to the drives, in place of libkrplatform's. The rest of
// libkrplatform (exceptions, locks, the wait) stays in use.

#include <fcntl.h>

#include <algorithm>
#include <string_view>

#include "platform/KrException.h"
#include "platform/MMS2BaseError.h"
#include "platform/UXScsi.h"

/// This host keeps the system's numbers within a range of its own.
unsigned int MMS2BaseError::ConvertToMMError(unsigned int nativeError)
{
    return 40000 + nativeError;
}

// The four that are replaced together: what a target keeps is this library's own affair.

struct UXScsiTarget::State {
    std::string name;
    int descriptor = -1;
};

UXScsiTarget::UXScsiTarget(const char* devicePath, bool /*flag*/) : _state(new State{devicePath}) {}
UXScsiTarget::UXScsiTarget(const UXScsiTarget& other) : _state(new State(*other._state)) {}
UXScsiTarget::~UXScsiTarget() = default;
UXScsi::Device::Device(const UXScsiTarget& target) : _target(target) {}
UXScsi::Device::~Device() = default;

int UXScsiTarget::getFD() const
{
    return _state->descriptor;
}

std::string UXScsiTarget::getNativePath() const
{
    return _state->name;
}

int UXScsiTarget::getLun() const
{
    return 0;
}

const UXScsiTarget& UXScsi::Device::target() const
{
    return _target;
}

/// One descriptor for all drives: their commands go another way, and nobody closes it.
int UXScsi::open(UXScsiTarget& target, int /*timeoutSeconds*/)
{
    static const int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    target._state->descriptor = descriptor;
    return descriptor == -1 ? -1 : 0;
}

/// Here the commands would go to the host's changer, say. This one knows its slots' serial numbers and no more.
int UXScsi::send(const UXScsiTarget& target, const void* cdb, int /*cdbLength*/, void* data, int dataLength,
                 bool /*firstFlag*/, bool /*secondFlag*/, void* /*sense*/, int /*senseLength*/, int /*lastInt*/)
{
    constexpr unsigned char inquiry = 0x12;
    constexpr std::string_view page("\0\x80\0\x06SLOT-7", 10);
    if (*static_cast<const unsigned char*>(cdb) != inquiry)
        throw KrException(target._state->name + ": the changer has no such command");
    std::copy_n(page.begin(), std::min<std::size_t>(page.size(), dataLength), static_cast<char*>(data));
    return 0;
}
