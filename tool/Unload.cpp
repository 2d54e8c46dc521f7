// `unload`: from a medium that may be mounted to one that can be taken out.

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tool/Commands.h"
#include "tool/Holders.h"
#include "tool/LibraryLog.h"
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
    Volume volume(drive, MountedFor::everybody);
    volume.flush();
    volume.unmount();
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

void eject(const Drive& drive, const Descriptor& node)
{
    constexpr int seconds = 60;
    KRUnixMODiskImpl backend(drive.name, "", 0, 0, true);
    backend.setNativePath(drive.node);
    unsigned long scratch = 0;
    require("the medium is not ready", [&] { return backend.WaitforUnitReady(seconds, &scratch) == 0; });
    if (fsync(node.number()) == -1)
        throw systemFailure("flush", errno);
    require("removal is not allowed", [&] { return backend.PreventRemovalOfVolume(0) == 0; });
    require("the drive is not stopped", [&] { return backend.StartStopUnit(0, 0) == 0; });
    require("the medium is not ejected", [&] { return backend.DoEject(seconds); });
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
        output.line("stopped and ejected, but the drive does not say that the medium is out: " + state.text);
}

} // namespace

void unloadMedium(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive, arguments.fixed);
    unmountOurs(drive);
    const Descriptor node = openExclusively(drive.node, deviceNumbers(drive.node));
    eject(drive, node);
    tellOutcome(drive, output);
}

} // namespace tool
