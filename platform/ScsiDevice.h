#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "platform/DeviceNode.h"

/// Internal to the platform library: a SCSI logical unit as sysfs knows it.
#pragma GCC visibility push(hidden)
namespace scsi {

/// A logical unit that was in sysfs when it was looked for; what became of it since is not looked at.
class ScsiDevice {
public:
    /// Finds the logical unit behind a name of any kind.
    ///
    /// @param name a character or block node of the unit, a link to one, or an address H:C:T:L.
    /// @return nothing and the reason in `errno` (ENODEV: no SCSI device) where there is none. A partition is none:
    ///         commands sent through one reach its whole disk.
    static std::optional<ScsiDevice> find(const std::string& name);

    /// The logical unit that a character or block node belongs to; nothing and ENODEV where sysfs has none.
    static std::optional<ScsiDevice> of(const struct stat& node);

    /// "H:C:T:L", the name under which the kernel has the unit.
    std::string address() const;

    /// The last field of the address.
    int logicalUnit() const;

    /// The disk's node, such as /dev/sdb; nothing for a unit that is no disk.
    std::optional<DeviceNode> blockNode() const;

    /// The node for commands: the SCSI generic one, since it opens whatever the state of the medium, or the block
    /// node where there is none. Nothing and ENOENT in `errno` where /dev has neither.
    std::optional<DeviceNode> commandNode() const;

    /// True for a disk whose medium the kernel does not know of.
    bool isSizeZero() const;

    /// Makes the disk driver ask the drive for size and properties of the medium again.
    void rescan() const;

private:
    explicit ScsiDevice(std::string directory);
    static std::optional<ScsiDevice> in(const std::string& directory);
    std::optional<DeviceNode> nodeOf(const char* deviceClass, mode_t kind) const;

    std::string _directory;
};

} // namespace scsi
#pragma GCC visibility pop
