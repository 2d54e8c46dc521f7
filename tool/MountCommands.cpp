// `mount` and `unmount`: what everybody on the machine sees.

#include "tool/Commands.h"
#include "tool/Failure.h"
#include "tool/Volume.h"

namespace tool {

namespace {

/// The medium can be taken out only once nobody has it any more, in whichever name space.
void requireFree(const Volume& volume)
{
    try {
        volume.requireFree();
    } catch (const Failure& failure) {
        throw Failure(failure.status(), "taken from " + volume.directory() + ", but " + failure.what());
    }
}

} // namespace

void mountMedium(const Arguments& arguments, Output& output)
{
    Volume volume(reserveDrive(arguments.drive, arguments.fixed), MountedFor::everybody);
    const bool mountedNow = volume.mount();
    volume.openMounted();
    output.remark((mountedNow ? "mounted on " : "was mounted on ") + volume.directory());
}

void unmountMedium(const Arguments& arguments, Output& output)
{
    Volume volume(reserveDrive(arguments.drive, arguments.fixed), MountedFor::everybody);
    if (!volume.isMounted())
        throw Failure(statusDeviceFailed, "nothing is mounted on " + volume.directory());
    volume.flush();
    volume.unmount();
    requireFree(volume);
    output.remark("unmounted from " + volume.directory());
}

} // namespace tool
