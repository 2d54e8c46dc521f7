#include "tool/DriveName.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>

namespace tool {

namespace fs = std::filesystem;

namespace {

/// The node of the disk that a partition is on, by sysfs, where the disk's folder holds the partition's; empty where
/// the name is not that of a partition.
std::string diskOfPartition(const std::string& name)
{
    struct stat node {};
    if (stat(name.c_str(), &node) == -1 || !S_ISBLK(node.st_mode))
        return {};
    std::error_code error;
    const fs::path link =
        "/sys/dev/block/" + std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    const fs::path folder = fs::canonical(link, error);
    if (error || !fs::exists(folder / "partition", error))
        return {};
    return "/dev/" + folder.parent_path().filename().string();
}

} // namespace

Failure unknownDrive(const std::string& name, int error)
{
    const std::string disk = diskOfPartition(name);
    if (!disk.empty())
        return {statusWrongUse, name + " is a partition; its disk is " + disk};
    const bool mayBeSerial = name.find_first_not_of("0123456789:") != std::string::npos || // else H:C:T:L
                             name.find(':') == std::string::npos;
    if (name.find('/') == std::string::npos && mayBeSerial && (error == ENOENT || error == ENODEV))
        return {statusNotThere, "no drive has the serial number " + name};
    return systemFailure(name, error);
}

} // namespace tool
