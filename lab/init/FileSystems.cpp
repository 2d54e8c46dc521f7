#include "lab/init/FileSystems.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "lab/init/Modules.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

// A folder that every system has and that nothing is needed of until the overlay is there.
const std::string scratch = "/mnt";

void mountOn(const std::string& folder, const std::string& type, const std::string& options = {},
             const std::string& source = "none")
{
    checked(::mount(source.c_str(), folder.c_str(), type.c_str(), 0, options.c_str()),
            "mount " + type + " on " + folder);
}

void mountNewFolder(const std::string& folder, const std::string& type, const std::string& options = {})
{
    std::filesystem::create_directories(folder);
    mountOn(folder, type, options);
}

void mountOverlay(const std::string& root)
{
    mountOn(scratch, "tmpfs", "mode=755");
    for (const char* folder : {"/changes", "/work", "/root"}) {
        std::filesystem::create_directory(scratch + folder);
    }
    mountOn(root, "overlay", "lowerdir=/,upperdir=" + scratch + "/changes,workdir=" + scratch + "/work");
}

// The root of all processes is changed, not only this one's, so that modprobe works when the kernel itself calls it.
void changeRoot(const std::string& root)
{
    checked(::chdir(root.c_str()), "enter " + root);
    checked(static_cast<int>(::syscall(SYS_pivot_root, ".", ".")), "change the root");
    checked(::umount2(".", MNT_DETACH), "let go of the old root");
    checked(::chdir("/"), "enter the new root");
}

// The names of a process's own descriptors, which the kernel leaves to user space to make.
void linkDescriptors()
{
    std::filesystem::create_symlink("/proc/self/fd", "/dev/fd");
    std::filesystem::create_symlink("fd/0", "/dev/stdin");
    std::filesystem::create_symlink("fd/1", "/dev/stdout");
    std::filesystem::create_symlink("fd/2", "/dev/stderr");
}

// Programs find the mounts in /etc/mtab, which a machine that was never booted, such as a container, may lack.
void linkMountTable()
{
    std::filesystem::remove("/etc/mtab");
    std::filesystem::create_symlink("/proc/self/mounts", "/etc/mtab");
}

} // namespace

void mountKernelFileSystems()
{
    mountOn("/proc", "proc");
    mountOn("/sys", "sysfs");
}

void enterOverlay()
{
    const std::string root = scratch + "/root";
    mountOverlay(root);
    changeRoot(root);
    mountKernelFileSystems();
    mountOn("/dev", "devtmpfs", "mode=755");
    mountNewFolder("/dev/pts", "devpts", "mode=620,ptmxmode=666");
    mountNewFolder("/dev/shm", "tmpfs", "mode=1777");
    mountOn("/run", "tmpfs", "mode=755");
    mountNewFolder("/run/lab", "tmpfs", "mode=700,size=100%"); // for the media, as large as they are
    linkDescriptors();
    linkMountTable();
    showModules();
}

void mountResults(const std::string& folder)
{
    mountOn(folder, "hostfs", folder);
}

} // namespace lab
