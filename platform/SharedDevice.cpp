#include "platform/SharedDevice.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "platform/ScsiDevice.h"
#include "platform/SystemFiles.h"

namespace scsi {

namespace {

bool isPreventAllow(const Command& command)
{
    constexpr unsigned char preventAllowMediumRemoval = 0x1e; // SPC
    return command.cdbLength == 6 && static_cast<const unsigned char*>(command.cdb)[0] == preventAllowMediumRemoval;
}

bool prevents(const Command& command)
{
    return (static_cast<const unsigned char*>(command.cdb)[4] & 1) != 0;
}

/// The device of a generic node; none where the descriptor is of the block node itself.
std::optional<ScsiDevice> deviceOf(int descriptor)
{
    struct stat node = {};
    if (fstat(descriptor, &node) == -1 || !S_ISCHR(node.st_mode))
        return std::nullopt;
    return ScsiDevice::of(node);
}

/// @return the disk's block node, open without a look at the medium's state.
int openDisk(const ScsiDevice& device, int flags)
{
    const std::optional<DeviceNode> node = device.blockNode();
    return node ? open(node->path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags) : -1;
}

} // namespace

std::optional<Answer> SharedDevice::submit(int descriptor, const Command& command)
{
    if (!isPreventAllow(command))
        return submitInTurn(descriptor, command);
    const std::lock_guard<std::mutex> lock(_removal);
    const std::optional<Answer> answer = submitInTurn(descriptor, command);
    const bool isDone = answer && answer->result() == 0;
    const bool mayBeDone = answer && answer->isLost();
    if (isDone || (mayBeDone && prevents(command)))
        _removalPrevented = prevents(command);
    return answer;
}

std::optional<Answer> SharedDevice::submitInTurn(int descriptor, const Command& command)
{
    const CommandQueue::Turn turn(_queue);
    return scsi::submit(descriptor, command);
}

void SharedDevice::readMediumAnew(int descriptor)
{
    const std::lock_guard<std::mutex> lock(_removal);
    const std::optional<ScsiDevice> device = _removalPrevented ? std::nullopt : deviceOf(descriptor);
    if (!device)
        return;
    const UniqueDescriptor disk(openDisk(*device, O_EXCL));
    if (disk.get() == -1)
        return;
    device->rescan();
    ioctl(disk.get(), BLKRRPART);
}

void SharedDevice::lookForMedium(int descriptor)
{
    const std::optional<ScsiDevice> device = deviceOf(descriptor);
    if (!device || !device->isSizeZero())
        return; // without waiting for what other threads do to this drive
    const std::lock_guard<std::mutex> lock(_removal);
    if (!_removalPrevented)
        const UniqueDescriptor disk(openDisk(*device, 0));
}

} // namespace scsi
