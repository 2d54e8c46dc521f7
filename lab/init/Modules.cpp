#include "lab/init/Modules.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

// Where the package keeps the modules of the kernel that is a process; modprobe expects a kernel's in /lib/modules.
const std::string packageFolder = "/usr/lib/uml/modules/";

std::string kernelRelease()
{
    struct utsname name {};
    checked(::uname(&name), "ask for the kernel's release");
    return name.release;
}

} // namespace

void loadOverlayModule()
{
    const std::string path = packageFolder + kernelRelease() + "/kernel/fs/overlayfs/overlay.ko";
    const Descriptor module = openFile(path, O_RDONLY);
    checked(static_cast<int>(::syscall(SYS_finit_module, module.number(), "", 0)), "load " + path);
}

void showModules()
{
    const std::string folder = "/usr/lib/modules";
    std::filesystem::create_directories(folder);
    checked(::mount(packageFolder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr), "show the modules in " + folder);
}

void loadDiskModules()
{
    runCommand({"modprobe", "--all", "sd_mod", "sg", "target_core_user", "tcm_loop", "vfat", "nls_cp437", "nls_ascii",
                "nls_iso8859-1"});
}

} // namespace lab
