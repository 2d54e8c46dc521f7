#include "lab/launcher/Machine.h"

#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace lab {

namespace {

constexpr const char* kernelPath = "/usr/bin/linux.uml";

// The memory file is sparse, but a file system that runs full under it kills the kernel with SIGBUS; and a mount
// without execute permission, as /dev/shm is in containers, can't hold memory that programs run from.
bool canHoldMemory(const std::string& folder, int megabytes)
{
    struct statvfs status {};
    if (::statvfs(folder.c_str(), &status) != 0 || ::access(folder.c_str(), W_OK | X_OK) != 0) {
        return false;
    }
    const uint64_t available = uint64_t{status.f_bavail} * status.f_frsize;
    return (status.f_flag & ST_NOEXEC) == 0 && available > (static_cast<uint64_t>(megabytes) << 20U);
}

} // namespace

std::string findKernel()
{
    struct utsname name {};
    if (::uname(&name) != 0 || std::string(name.machine) != "x86_64") {
        throw std::runtime_error(std::string("the kernel as a process exists for x86_64 machines only, not for ") +
                                 name.machine);
    }
    if (::access(kernelPath, X_OK) != 0) {
        throw std::runtime_error(std::string(kernelPath) + " is missing: install the package user-mode-linux");
    }
    return kernelPath;
}

std::string memoryFolder(int megabytes)
{
    const char* const wished = std::getenv("TMPDIR");
    for (const std::string& folder : {std::string("/dev/shm"), std::string(wished != nullptr ? wished : "/tmp"),
                                      std::string("/tmp"), std::string("/var/tmp")}) {
        if (canHoldMemory(folder, megabytes)) {
            return folder;
        }
    }
    throw std::runtime_error("no folder has room for " + std::to_string(megabytes) +
                             " MB of memory: name one in TMPDIR, or ask for less with --memory");
}

std::string besideThisProgram(const std::string& name)
{
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(name);
}

} // namespace lab
