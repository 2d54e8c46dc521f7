#include "platform/UXScsi.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "platform/DescriptorTable.h"
#include "platform/KrException.h"
#include "platform/ScsiCommand.h"
#include "platform/ScsiDevice.h"

struct [[gnu::visibility("hidden")]] UXScsiTarget::State
{
    std::string path;
    scsi::OpenDevice device;
    int timeoutSeconds = 60;
};

namespace {

KrException systemFailure(const std::string& path, const char* step, int error)
{
    return KrException(path + ": " + step + ": " + std::generic_category().message(error));
}

scsi::Answer submit(const std::string& path, const scsi::OpenDevice& device, const scsi::Command& command)
{
    const std::optional<scsi::Answer> answer = device.shared->submit(device.descriptor, command);
    if (!answer)
        throw systemFailure(path, "SG_IO", errno);
    if (answer->tellsOfAnotherMedium()) // which the kernel does not get to know by itself now
        device.shared->readMediumAnew(device.descriptor);
    return *answer;
}

/// A drive tells of each event by one UNIT ATTENTION, and of several may be due: a reset and a new medium.
scsi::Answer submitPastUnitAttention(const std::string& path, const scsi::OpenDevice& device,
                                     const scsi::Command& command)
{
    constexpr int sendsInAll = 3;
    scsi::Answer answer = submit(path, device, command);
    for (int sends = 1; sends < sendsInAll && answer.isUnitAttention(); ++sends)
        answer = submit(path, device, command);
    return answer;
}

} // namespace

UXScsiTarget::UXScsiTarget(const char* devicePath, bool /*flag*/) : _state(std::make_unique<State>())
{
    _state->path = devicePath != nullptr ? devicePath : "";
}

UXScsiTarget::UXScsiTarget(const UXScsiTarget& other) : _state(std::make_unique<State>(*other._state)) {}

UXScsiTarget::~UXScsiTarget() = default;

int UXScsiTarget::getFD() const
{
    return _state->device.descriptor;
}

std::string UXScsiTarget::getNativePath() const
{
    const std::optional<scsi::ScsiDevice> device = scsi::ScsiDevice::find(_state->path);
    const std::optional<scsi::DeviceNode> node = device ? device->blockNode() : std::nullopt;
    return node ? node->path : _state->path;
}

int UXScsiTarget::getLun() const
{
    const std::optional<scsi::ScsiDevice> device = scsi::ScsiDevice::find(_state->path);
    return device ? device->logicalUnit() : 0;
}

UXScsi::Device::Device(const UXScsiTarget& target) : _target(target) {}

UXScsi::Device::~Device() = default;

const UXScsiTarget& UXScsi::Device::target() const
{
    return _target;
}

int UXScsi::open(UXScsiTarget& target, int timeoutSeconds)
{
    UXScsiTarget::State& state = *target._state;
    if (timeoutSeconds >= 0)
        state.timeoutSeconds = timeoutSeconds;
    state.device = scsi::openDevice(state.path);
    if (state.device.descriptor == -1)
        return -1;
    state.device.shared->lookForMedium(state.device.descriptor);
    return 0;
}

int UXScsi::send(const UXScsiTarget& target, const void* cdb, int cdbLength, void* data, int dataLength, bool firstFlag,
                 bool secondFlag, void* sense, int senseLength, int lastInt)
{
    auto* const senseBytes = static_cast<unsigned char*>(sense);
    const std::size_t senseSize = sense != nullptr && senseLength > 0 ? static_cast<std::size_t>(senseLength) : 0;
    std::fill_n(senseBytes, senseSize, static_cast<unsigned char>(0));

    const UXScsiTarget::State& state = *target._state;
    const scsi::OpenDevice device = state.device.descriptor != -1 ? state.device : scsi::openDevice(state.path);
    if (device.descriptor == -1)
        throw systemFailure(state.path, "open", errno);

    const int timeoutSeconds = lastInt >= 0 ? lastInt : state.timeoutSeconds;
    const scsi::Command command{cdb, cdbLength, data, dataLength, firstFlag, timeoutSeconds};
    const scsi::Answer answer =
        secondFlag ? submitPastUnitAttention(state.path, device, command) : submit(state.path, device, command);
    std::copy_n(answer.sense.begin(), std::min(senseSize, answer.sense.size()), senseBytes);
    return answer.result();
}
