// `unload`: from a medium that may be mounted to one that can be taken out.

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "platform/UXScsi.h"
#include "tool/Commands.h"
#include "tool/LibraryLog.h"
#include "tool/Mounts.h"
#include "tool/SystemDrives.h"
#include "tool/Volume.h"
#include "unix/KRUnixMODiskImpl.h"

namespace tool {

namespace {

/// By the leaf that marks the library's mounts. Other people's are theirs: opening the node tells of them.
bool isOurs(const Mount& mount)
{
    const std::string& directory = mount.directory;
    return directory.substr(directory.rfind('/')) == "/KRMT";
}

void unmountOurs(const Drive& drive)
{
    const std::vector<Mount> mounts = mountsOf(deviceNumbers(drive.node));
    if (std::none_of(mounts.begin(), mounts.end(), isOurs))
        return;
    Volume volume(drive);
    volume.flush();
    volume.unmount();
}

/// The block node, which the kernel gives to one at a time: a file system that is mounted in any name space, and
/// whatever else is built on the disk, keeps it.
Descriptor openExclusively(const Drive& drive)
{
    Descriptor node(open(drive.node.c_str(), O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC));
    if (node.isOpen())
        return node;
    if (errno != EBUSY)
        throw systemFailure(drive.node, errno);
    const std::set<dev_t> devices = deviceNumbers(drive.node);
    std::string text = drive.node + " is in use";
    for (const Mount& mount : mountsOf(devices))
        text += "\nmounted: " + mountText(mount);
    throw Failure(statusDeviceFailed, text + holdersOf(devices) + devicesBuiltOn(drive.node));
}

template <class Step>
void require(const char* failed, Step step)
{
    stopIfInterrupted();
    bool done = false;
    {
        const LibraryCall call;
        done = step();
    }
    if (!done)
        throw libraryFailure(failed);
}

/// A drive that does not know the command never holds its medium: there is nothing to allow. What the drive answered,
/// the backend tells in words alone.
void allowRemoval(KRUnixMODiskImpl& backend)
{
    const std::string unknownCommand = UXScsiSense::toText(5, 0x20, 0, false);
    try {
        require("removal is not allowed", [&] { return backend.PreventRemovalOfVolume(0) == 0; });
    } catch (const Failure& failure) {
        if (std::string(failure.what()).find(unknownCommand) == std::string::npos)
            throw;
    }
}

/// The drive itself is told to eject, not eject(1): that one has to open the node, too, which is ours alone until the
/// medium is out. Were the node let go for it, somebody could mount the medium in between. The drive's refusal is also
/// the true reason, where eject(1) has only words on standard error.
void eject(const Drive& drive, const Descriptor& node)
{
    constexpr int seconds = 60;
    KRUnixMODiskImpl backend(drive.name, "", 0, 0, true);
    unsigned long scratch = 0;
    require("the medium is not ready", [&] { return backend.WaitforUnitReady(seconds, &scratch) == 0; });
    if (fsync(node.number()) == -1)
        throw systemFailure("flush", errno);
    allowRemoval(backend); // ends the kernel's PREVENT of our open, too
    require("the drive is not stopped", [&] { return backend.StartStopUnit(0, 0) == 0; });
    require("the medium is not ejected", [&] { return backend.StartStopUnit(0, 1) == 0; });
}

/// The kernel learns that the medium is gone when the node is opened next. Until then it shows the size and the
/// partitions of a medium that somebody carries away.
void haveKernelLook(const Drive& drive)
{
    const Descriptor look(open(drive.node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

/// Whether the medium is out is for the drive to say. One that is ready again has taken it in again, or never let go.
void tellOutcome(const Drive& drive, Output& output)
{
    const MediumState state = mediumState(drive.name);
    if (state.ready.value_or(false))
        throw Failure(statusDeviceFailed, "the medium is still in the drive and ready");
    if (state.absent)
        output.remark("the medium is out");
    else
        output.line("stopped and ejected; the drive does not say whether the medium is out: " + state.text);
}

} // namespace

void unloadMedium(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive);
    unmountOurs(drive);
    const Descriptor node = openExclusively(drive);
    eject(drive, node);
    haveKernelLook(drive);
    tellOutcome(drive, output);
}

} // namespace tool
