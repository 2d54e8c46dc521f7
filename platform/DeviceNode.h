#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

/// Internal to the platform library: from a device in sysfs to its node under /dev.
#pragma GCC visibility push(hidden)
namespace scsi {

/// A node under /dev and what it was verified to be.
struct DeviceNode {
    std::string path;
    mode_t kind; ///< S_IFCHR or S_IFBLK
    dev_t number;
};

/// The node of a character or block device.
///
/// The name that the kernel proposes (DEVNAME of `uevent`) is tried first. A name proves nothing, since rules of the
/// system may rename nodes and leave a stale one behind: a node counts by its kind and its major:minor alone, and
/// where the proposed one is another the whole of /dev is searched.
///
/// @param directory the device's own directory in sysfs, with the attributes `dev` and `uevent`.
/// @param kind      S_IFCHR or S_IFBLK.
std::optional<DeviceNode> findNode(const std::string& directory, mode_t kind);

} // namespace scsi
#pragma GCC visibility pop
