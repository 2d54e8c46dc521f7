#pragma once

#include <string>

#include "drive/KRScsiMODiskDrive.h"

/// A drive with removable hard disks or magneto-optical disks that carry FAT32: the class that the factory makes.
///
/// Its life: `open` (by the factory), `mount`, file operations below `getMountPath()`, `unmount`, `unload`, delete.
/// The operations run external tools (fdisk, parted, mount, umount, eject) in the calling thread and wait for them.
class KRHardDiskDrive : public KRScsiMODiskDrive {
public:
    /// Time-outs are 60 seconds.
    KRHardDiskDrive(const std::string& devicePath, int deviceType, const long long& deviceId, bool openFlag);
    ~KRHardDiskDrive() override;

    /// Nothing to do for a removable hard disk. @return 0, also without a medium.
    unsigned long load() override;

    /// Unmounts the medium, lets it go, stops the drive and ejects the medium (`eject -s`).
    ///
    /// Waits 10000 ms between the ready test and the unmount. A medium that is not mounted makes it fail before
    /// anything is stopped, with the backend's last code, which may be 0.
    /// @return the error code; 0 also when the drive is not open.
    unsigned long unload() override;

    /// Finds the medium's first partition (runs fdisk, and parted for a GPT) and opens the drive's volume.
    ///
    /// A backend from an earlier call is replaced. Waits 1000 seconds after every failed try to open the drive: one
    /// try for the partition, five for the volume.
    /// @return false: no partition, or the drive can't be opened; logged at level 1. True once there is a backend,
    ///         even if the volume could not be opened: `isValid()` tells.
    bool open(bool openFlag) override;

    /// Mounts the medium's first partition on a directory of its own ("mount -t vfat /dev/sdb1 /sdb1/KRMT"), which
    /// is created. Returns at once when it is mounted there already.
    ///
    /// @return 0; 930: not FAT32, or mount did not work; 994, 1100; the backend's last code. 0 is no proof: a mount
    ///         command that can't be started counts as mounted.
    unsigned long mount() override;

    /// @return the mount directory that the last `mount()` found, empty before; empty on a closed drive.
    std::string getMountPath() override;

    /// @return the drive's block node that the last `mount()` or `unmount()` found, empty before; empty on a closed
    ///         drive.
    std::string getDevicePath() override;

    /// Unmounts the medium ("umount /sdb1/KRMT"). The directory stays.
    ///
    /// @return 0; 994, 1100; the backend's last code, 0 included, when nothing was mounted. 0 is no proof: a umount
    ///         that complains on standard error alone counts as done.
    virtual unsigned long unmount();
};
