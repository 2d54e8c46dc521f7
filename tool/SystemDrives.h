#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

namespace tool {

/// A SCSI drive as sysfs shows it, to which nothing was sent.
struct SystemDrive {
    std::string address; ///< H:C:T:L
    std::string path;    ///< of its SCSI generic node, or else of its block node
    std::string node;    ///< its block node; empty where the disk driver has not taken it
    std::string vendor;
    std::string model;
    std::string serial; ///< empty for drives of old standards, which the kernel does not ask
};

/// The disks and optical memory devices of the machine, by address; fixed disks only if asked for.
std::vector<SystemDrive> systemDrives(bool fixed);

/// Whether a block node is one of a drive that keeps its medium.
bool isFixed(const std::string& blockNode);

/// The numbers of a disk and of the partitions that the kernel has of it.
std::set<dev_t> deviceNumbers(const std::string& blockNode);

/// The nodes of the partitions that the kernel has of a disk, by number.
std::vector<std::string> partitionNodes(const std::string& blockNode);

/// What the kernel has built on a disk or its partitions, a line each: "part of dm-0".
std::string devicesBuiltOn(const std::string& blockNode);

/// Whether a node is there and one of these devices.
bool isOneOf(const std::string& node, const std::set<dev_t>& devices);

} // namespace tool
