#pragma once

#include <string>
#include <vector>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// One logical unit of an emulated drive, as the system knows it.
struct EmulatedDrive {
    std::string address;     ///< SCSI address "host:channel:target:unit"
    std::string blockNode;   ///< such as /dev/sdb
    std::string genericNode; ///< such as /dev/sg1

    /// The node of a partition, counted from 1.
    std::string partitionNode(int number) const;
};

/// The removable SCSI drives of this kernel. The drives themselves live in the lab's init and answer every command that
/// the kernel or a program sends them. To be used inside the lab only, as root: by its init, which makes the drives of
/// the command line, and by tests, which make more as they run.
///
///     lab::EmulatedDrives drives;
///     lab::EmulatedDrive drive = drives.add({lab::DriveType::disk, lab::Label::dos, lab::FileSystem::vfat});
///     ... mount drive.partitionNode(1) ...
///     drives.insert(drive, lab::makeMedium({lab::DriveType::disk, lab::Label::gpt}));
///     drives.removeAll();
///
/// The object holds nothing of its own: drives stay when it goes, and all objects speak of the same drives. What adds,
/// plugs and unplugs returns once the system shows its effect; what happens in a drive happens at once, and the system
/// learns of it as it does with any drive: by its next command. All throw std::runtime_error with the step that failed
/// (std::system_error is one).
class EmulatedDrives {
public:
    /// Adds a drive with a medium of its own in each logical unit.
    /// @return its first logical unit
    EmulatedDrive add(const DriveDescription& description = {});

    /// The logical units that are plugged in, in the order of their addresses.
    std::vector<EmulatedDrive> list() const;

    /// Takes all drives away, unplugged ones too; their media are forgotten. Nothing may be mounted from them.
    void removeAll();

    /// Unplugs a logical unit as if its cable was drawn: the nodes go, whoever has them open.
    void unplug(const EmulatedDrive& drive);

    /// Plugs an unplugged logical unit in again, with the medium it had; the nodes may have other names now. One that
    /// is plugged in stays as it is.
    EmulatedDrive plugIn(const EmulatedDrive& drive);

    /// A command for the shell that plugs an unplugged logical unit in and waits for a node.
    static std::string plugInCommand(const EmulatedDrive& drive, const std::string& node);

    // What a person does to a drive, with both hands.

    /// Presses the button: it shuts the tray, or opens it unless the host has locked it.
    void pressButton(const EmulatedDrive& drive);

    /// Opens the tray with a pin, locked or not.
    void forceOpen(const EmulatedDrive& drive);

    /// Takes the medium out, by the button if need be; that fails if the tray is locked. The tray stays open.
    /// @return the medium, for `insert`, or "empty"
    std::string takeOut(const EmulatedDrive& drive);

    /// Puts a medium (makeMedium, takeOut) in the place of the one that is there, and shuts the tray.
    void insert(const EmulatedDrive& drive, const std::string& medium);

    // What is special about a drive, or wrong with it; lab/README.md lists the keys.

    /// Changes the drive or the medium in it: "key=value,key=value".
    void set(const EmulatedDrive& drive, const std::string& settings);

    /// Has the next commands of a kind answered otherwise: "command=1b......02,times=1,sense=5/53/02". Several such
    /// wait in their order.
    void answer(const EmulatedDrive& drive, const std::string& answer);

    /// Ends all faults of a drive and of the medium in it; commands that were left unanswered are answered BUSY.
    void heal(const EmulatedDrive& drive);

    /// "tray=closed,locked=no,stopped=no," and the description of the medium, or "empty".
    std::string state(const EmulatedDrive& drive) const;

    /// Switches the write protection of the medium in a drive, and has the disk driver look at it.
    void setWriteProtected(const EmulatedDrive& drive, bool isProtected);
};

} // namespace lab
