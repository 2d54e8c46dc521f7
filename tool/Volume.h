#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "drive/KRHardDiskDrive.h"
#include "tool/Descriptor.h"
#include "tool/Drive.h"
#include "tool/Failure.h"

namespace tool {

/// The first partition of the medium in a drive, through the library's drive object.
class Volume {
public:
    /// Opens the drive by the factory. @throws Failure: no partition, or one of another disk was taken for it.
    explicit Volume(const Drive& drive);

    KRHardDiskDrive& drive() { return *_library; }

    /// The mount directory, "/sdb1/KRMT".
    const std::string& directory() const { return _directory; }

    /// Whether the mount table shows a partition of this very drive on the mount directory.
    bool isMounted() const;

    /// Opens the mount directory, and through it what is mounted there.
    /// @throws Failure unless that is a partition of this very drive, with FAT.
    Descriptor openMounted() const;

    /// Mounts the medium unless it is mounted. @return whether it had to. @throws Failure unless it is mounted then.
    bool mount();

    /// Brings what was written to the mounted medium. An unmount does that, too, but tells no error.
    void flush() const;

    /// @throws Failure, which names who keeps it, unless the medium is not mounted any more.
    void unmount();

private:
    Drive _drive;
    std::unique_ptr<KRHardDiskDrive> _library;
    std::string _directory;
    std::set<dev_t> _devices; ///< of the disk and its partitions: the kernel forgets them with the drive
};

/// A volume mounted for one command. It was mounted already: then it is the user's and stays mounted.
class MountedVolume {
public:
    explicit MountedVolume(Volume& volume);
    MountedVolume(const MountedVolume&) = delete;
    MountedVolume& operator=(const MountedVolume&) = delete;

    /// Unmounts what it mounted; a failure is told on standard error, since another one is on its way.
    ~MountedVolume();

    /// The root of the medium, by its open descriptor: a mount that somebody takes away lazily leaves a plain
    /// directory under the mount directory's name, and nothing may be written there.
    std::string root() const { return "/proc/self/fd/" + std::to_string(_root.number()); }
    int rootDescriptor() const { return _root.number(); }

    /// Runs the command's work below `root()` and unmounts what was mounted for it. What the work fails with speaks
    /// of the mount directory instead.
    template <class Work>
    void run(Work work)
    {
        try {
            work();
        } catch (const std::filesystem::filesystem_error& error) {
            throw systemFailure(withDirectory(error.path1()), error.code().value());
        } catch (const Failure& failure) {
            throw Failure(failure.status(), withDirectory(failure.what()));
        }
        finish();
    }

private:
    MountedVolume(Volume& volume, bool mountedHere) : _volume(volume), _mountedHere(mountedHere) {}
    void finish();
    std::string withDirectory(std::string text) const;

    Volume& _volume;
    bool _mountedHere;
    Descriptor _root;
};

} // namespace tool
