#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

#include "tool/Descriptor.h"
#include "tool/Mounts.h"

namespace tool {

/// "process 123 (name)".
std::string processText(const std::string& process);

/// A mount in a mount name space that is not this process's.
struct ForeignMount {
    Mount mount;
    std::string process; ///< one that lives there
};

/// Those whose file system lies on one of the devices; of each name space by one of its processes.
std::vector<ForeignMount> foreignMounts(const std::set<dev_t>& devices);

/// "/dev/sdb1 on /mnt in the mount name space of process 123 (name)".
std::string foreignText(const ForeignMount& foreign);

/// Who keeps the devices busy, as far as /proc shows, a line each: open nodes, open files and working directories,
/// and mounts in the mount name spaces of others.
std::string holdersOf(const std::set<dev_t>& devices);

/// Whether somebody keeps a block node as `openExclusively` would.
bool isInUse(const std::string& node);

/// Opens a block node, which the kernel gives to one at a time: a file system that is mounted in any name space, and
/// whatever else is built on the disk, keeps it.
/// @param devices whose holders the failure names. @throws Failure.
Descriptor openExclusively(const std::string& node, const std::set<dev_t>& devices);

} // namespace tool
