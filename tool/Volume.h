#pragma once

#include <sys/types.h>

#include <memory>
#include <set>
#include <string>

#include "drive/KRHardDiskDrive.h"
#include "tool/Descriptor.h"
#include "tool/Drive.h"
#include "tool/Holders.h"

namespace tool {

/// Who sees what is mounted.
enum class MountedFor {
    everybody,
    thisProcess ///< see `takeOwnMounts`
};

/// The first partition of the medium in a drive, through the library's drive object.
class Volume {
public:
    /// Opens the drive by the factory. @throws Failure: no partition, or one of another disk was taken for it.
    Volume(const Drive& drive, MountedFor whom);

    KRHardDiskDrive& drive() { return *_library; }

    /// The mount directory, "/sdb1/KRMT".
    const std::string& directory() const { return _directory; }

    /// Its block node, "/dev/sdb1".
    const std::string& partition() const { return _partition; }

    /// Whether a partition of this very drive is mounted on the mount directory, for whom this volume is.
    bool isMounted() const;

    /// Opens the mount directory, and through it what is mounted there.
    /// @throws Failure unless that is a partition of this very drive, with FAT.
    Descriptor openMounted() const;

    /// The same in the mounts that everybody sees, which nobody can unmount as long as it is open.
    /// @return closed where no partition of this very drive is mounted there.
    Descriptor openVisible() const;

    /// Mounts the medium unless it is mounted, for everybody or for whom this volume is; a file system that was not
    /// unmounted in order is told of on standard error before.
    /// @return whether it had to. @throws Failure unless it is mounted then.
    bool mount();

    /// What `mount` told of the file system; empty: nothing.
    const std::string& warning() const { return _warning; }

    /// @throws Failure where it is mounted and the kernel has made it read-only because of an error.
    void requireNoErrors() const;

    /// Brings what was written to the mounted medium. An unmount does that, too, but tells no error.
    void flush() const;

    /// Drops what the kernel has read of the partition by itself, tables and folders, as far as it is not in use.
    /// @return whether that is all of it, since nobody has it mounted.
    bool forget() const;

    /// @throws Failure, which names who keeps it, unless the medium is not mounted any more.
    void unmount();

    /// Unmounts what nobody else sees without the library, which looks at all disks before: that may take seconds.
    /// @return whether it is not mounted any more.
    bool takeAway() const;

    /// @throws Failure, which names who it is, where somebody still has the partition mounted or keeps it otherwise.
    void requireFree() const { openExclusively(_partition, _devices); }

private:
    void noticeDirtyMark();

    Drive _drive;
    MountedFor _whom;
    Descriptor _visibleRoot; ///< of the file system, as everybody sees it
    std::unique_ptr<KRHardDiskDrive> _library;
    std::string _directory;
    std::string _partition;
    std::string _warning;
    std::set<dev_t> _devices; ///< of the disk and its partitions: the kernel forgets them with the drive
};

} // namespace tool
