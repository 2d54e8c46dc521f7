// `mount` and `unmount`: what everybody on the machine sees.

#include "tool/Commands.h"
#include "tool/Failure.h"
#include "tool/Volume.h"

namespace tool {

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
    volume.requireFree();
    output.remark("unmounted from " + volume.directory());
}

} // namespace tool
