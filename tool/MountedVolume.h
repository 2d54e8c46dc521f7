#pragma once

#include <filesystem>
#include <string>
#include <utility>

#include "tool/Descriptor.h"
#include "tool/Failure.h"
#include "tool/Volume.h"

namespace tool {

/// What a command does with a mounted volume.
enum class Access {
    reading,
    writing
};

/// A volume mounted for one command; of a `Volume` for `MountedFor::thisProcess`.
///
/// Where everybody has it mounted already, that mount is used, stays, and can't be unmounted as long as this lives.
/// Else it is mounted where nobody else sees it; for reading, nothing can be written by way of that mount, while a
/// host may mount the same medium and write to it.
class MountedVolume {
public:
    /// @throws Failure: not mounted, no FAT, or, for writing, read-only because the kernel found an error.
    MountedVolume(Volume& volume, Access access);
    MountedVolume(const MountedVolume&) = delete;
    MountedVolume& operator=(const MountedVolume&) = delete;

    /// Does what `finish` does, as fast as that can be had, since somebody may wait for the end of what he interrupted.
    /// A failure is told on standard error, since another one is on its way.
    ~MountedVolume();

    /// The descriptor of the medium's root: a mount that somebody takes away lazily leaves a plain directory under
    /// the mount directory's name, and nothing may be written there. It is another one after `refresh`.
    int rootDescriptor() const { return _root.number(); }

    /// A path by way of that descriptor, for what takes paths.
    std::string root() const { return "/proc/self/fd/" + std::to_string(_root.number()); }

    /// Whether the mount is this process's own.
    bool isOwn() const { return _own; }

    /// Brings everything to the medium, so that what is read next comes from there as far as that can be had: an own
    /// mount is ended and made afresh. Nothing on it may be open.
    /// @return whether all comes from the medium, names included. Not so where somebody else has it mounted, too.
    /// @throws Failure; then it is not mounted any more.
    bool refresh();

    /// @throws Failure when another medium is in the drive than the mounted one, or when none can be read.
    void requireSameMedium() const;

    /// Unmounts what was mounted for the command. @throws Failure, which names who keeps it.
    void finish();

    /// Runs work below `root()`. What it fails with speaks of the mount directory instead.
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
    }

private:
    MountedVolume(Volume& volume, Access access, Descriptor root)
        : _volume(volume), _access(access), _root(std::move(root))
    {
    }
    void attach();
    void attachOwn();
    std::string withDirectory(std::string text) const;

    Volume& _volume;
    Access _access;
    bool _own = false;
    Descriptor _root;
};

} // namespace tool
