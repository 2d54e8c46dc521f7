#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

namespace tool {

/// One mount, as the kernel tells it.
struct Mount {
    dev_t device; ///< of the file system: that of the partition where it lies on one
    std::string directory;
    std::string source;       ///< "/dev/sdb1"
    std::string mountOptions; ///< of this mount
    std::string options;      ///< of the file system
    bool received;            ///< another name space has it, and gave it to this one
};

/// The mounts in the mount name space of a process, its number or "self"; later ones hide earlier ones.
std::vector<Mount> mountTable(const std::string& process = "self");

/// Those whose file system lies on one of the devices.
std::vector<Mount> mountsOf(const std::set<dev_t>& devices, const std::string& process = "self");

/// Whether options, as the kernel lists them, have this one: "ro" is one of "ro,iocharset=utf8".
bool hasOption(const std::string& options, const std::string& option);

/// Gives the process mounts of its own. What others mount and unmount is seen here as before; what is mounted and
/// unmounted here, nobody else sees, and it ends with the process and the programs that it started. To be called
/// before there is another thread. @throws Failure.
void takeOwnMounts();

/// "/dev/sdb1 on /sdb1/KRMT".
std::string mountText(const Mount& mount);

} // namespace tool
