#include "platform/KrException.h"
#include "platform/UXScsi.h"
#include "platform/ZOSleep.h"
#include "tests/support/Script.h"

static void step(const std::string& operation)
{
    if (script.throwAt == operation)
        throw KrException(operation + " failed");
    if (script.throwAt == operation + "!")
        throw operation;
}

struct UXScsiTarget::State {
    std::string path;
    int descriptor = -1;
    std::shared_ptr<int> count = script.targets;
};

UXScsiTarget::UXScsiTarget(const char* devicePath, bool flag) : _state(new State{devicePath})
{
    EXPECT_FALSE(flag);
    step("target");
}

UXScsiTarget::UXScsiTarget(const UXScsiTarget& other) : _state(new State(*other._state)) {}
UXScsiTarget::~UXScsiTarget() = default;
UXScsi::Device::Device(const UXScsiTarget& target) : _target(target) {}
UXScsi::Device::~Device() = default;

const UXScsiTarget& UXScsi::Device::target() const
{
    return _target;
}

int UXScsiTarget::getFD() const
{
    step("getFD");
    errno = script.noDescriptorFor == _state->path ? EMFILE : ENXIO;
    return _state->descriptor;
}

std::string UXScsiTarget::getNativePath() const
{
    step("getNativePath");
    return script.node;
}

int UXScsiTarget::getLun() const
{
    return 3;
}

int UXScsi::open(UXScsiTarget& target, int timeoutSeconds)
{
    EXPECT_EQ(timeoutSeconds, 60);
    note("open " + target._state->path);
    step("open");
    const bool fails = script.noDescriptorFor == target._state->path;
    target._state->descriptor = fails ? -1 : script.descriptor;
    return -1; // the descriptor alone counts
}

int UXScsi::send(const UXScsiTarget& target, const void* cdb, int cdbLength, void* data, int dataLength, bool firstFlag,
                 bool secondFlag, void* sense, int senseLength, int lastInt)
{
    EXPECT_TRUE(!firstFlag && secondFlag && senseLength == 28 && lastInt == -1);
    EXPECT_EQ(script.targets.use_count(), 2) << "the device's own target is to be the only one";
    std::string event = "send " + target._state->path + " " + std::to_string(dataLength) + ":";
    for (int i = 0; i < cdbLength; ++i)
        event += " " + std::to_string(static_cast<const unsigned char*>(cdb)[i]);
    note(event);
    step("send");
    script.sense.copy(static_cast<char*>(sense), 28);
    script.data.copy(static_cast<char*>(data), static_cast<std::size_t>(dataLength));
    return script.statuses[script.sends++];
}

std::string UXScsiSense::toText(unsigned char senseKey, unsigned char asc, unsigned char ascq, bool flag)
{
    EXPECT_FALSE(flag);
    return std::to_string(senseKey) + "/" + std::to_string(asc) + "/" + std::to_string(ascq);
}

void ZOSLEEP_InTeRnAl(unsigned long milliseconds, const char* file, int line)
{
    EXPECT_TRUE(file != nullptr && line > 0);
    note("wait " + std::to_string(milliseconds));
}
