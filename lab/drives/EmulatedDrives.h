#pragma once

#include <string>
#include <vector>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// One logical unit of an emulated drive, as the system knows it.
struct EmulatedDrive {
    DriveType type;
    std::string address;     ///< SCSI address "host:channel:target:unit"
    std::string blockNode;   ///< such as /dev/sdb
    std::string genericNode; ///< such as /dev/sg1

    /// The node of a partition, counted from 1.
    std::string partitionNode(int number) const;
};

/// The removable SCSI drives of this kernel, emulated by its module scsi_debug. To be used inside the lab only, as
/// root: by its init, which makes the drives of the command line, and by tests, which make more as they run.
///
///     lab::EmulatedDrives drives;
///     lab::EmulatedDrive drive = drives.add({lab::DriveType::disk, lab::Label::dos, lab::FileSystem::vfat});
///     ... mount drive.partitionNode(1) ...
///     drives.removeAll();
///
/// The object holds nothing of its own: drives stay when it goes, and all objects speak of the same drives. Every
/// operation returns once the system shows its effect. All throw std::runtime_error with the step that failed
/// (std::system_error is one). Not for several threads at a time.
class EmulatedDrives {
public:
    /// Loads the module where it is not there.
    EmulatedDrives();

    /// Adds a drive with a fresh medium and makes partitions and file systems on it. Where drives are there, it must
    /// agree with them in what all share.
    /// @return its first logical unit
    EmulatedDrive add(const DriveDescription& description = {});

    /// The logical units that are plugged in, in the order of their addresses.
    std::vector<EmulatedDrive> list() const;

    /// Takes all drives away, unplugged ones too; their media are forgotten. Nothing may be mounted from them.
    void removeAll();

    /// Unplugs a logical unit as if its cable was drawn: the nodes go, whoever has them open.
    void unplug(const EmulatedDrive& drive);

    /// Plugs an unplugged logical unit in again, with the medium it had; the nodes may have other names now.
    EmulatedDrive plugIn(const EmulatedDrive& drive);

    /// A logical unit under the names that it has now, plugged in again where it is not.
    EmulatedDrive present(const EmulatedDrive& drive);

    /// A command for the shell that plugs an unplugged logical unit in and waits for a node.
    static std::string plugInCommand(const EmulatedDrive& drive, const std::string& node);

    /// Makes the media of all drives read-only, to which the block nodes of disks then conform. The emulation lets
    /// magneto-optical drives refuse the writes, but not tell beforehand.
    void setWriteProtected(bool isProtected);

    /// Whether all drives answer with sense data in descriptor format rather than fixed format.
    void setDescriptorSense(bool isDescriptor);

    /// Whether the kernel logs each command that arrives; CommandLog reads them.
    void setCommandLog(bool isLogging);

    /// What all drives say they are when asked by INQUIRY. The emulation has one answer for all, which `add` and
    /// `plugIn` leave at the type of the drive added last; the system's own view (sysfs, the disk driver) is each
    /// drive's own and stays.
    void answerInquiriesAs(DriveType type);

    /// Sets any other parameter of the emulation that can be set while drives are there, such as "every_nth",
    /// "opts" or "medium_error_start" (`modinfo scsi_debug` lists them).
    void setParameter(const std::string& name, const std::string& value);
    std::string parameter(const std::string& name) const;
};

} // namespace lab
