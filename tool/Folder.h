#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/Descriptor.h"

namespace tool {

/// A folder that is held open. What is below it is reached from its descriptor and never through a link: whoever owns
/// the folder may rename and replace what is in it at any moment, and leads nobody elsewhere by it.
///
/// Whatever fails throws Failure. Without the system call openat2, everything does.
class Folder {
public:
    enum class Mounts {
        one, ///< what is mounted below is not entered
        any,
    };

    static constexpr int mostLevels = 64; ///< of folders in one another

    explicit Folder(Descriptor descriptor, Mounts mounts = Mounts::one)
        : _descriptor(std::move(descriptor)), _mounts(mounts)
    {
    }

    /// Opens a folder that a command line names, as the kernel resolves it; but the last name is no link.
    static Folder named(const std::string& path, Mounts mounts = Mounts::one);

    /// Another one of a folder that somebody else holds.
    static Folder ofDescriptor(int number);

    int number() const { return _descriptor.number(); }

    /// Opens what is below. @param flags as open takes them.
    Descriptor open(const std::string& path, int flags, mode_t mode = 0) const;
    Folder folder(const std::string& path) const;

    /// What has a name in this folder; nothing where nothing has.
    std::optional<struct stat> look(const std::string& name) const;
    struct stat status() const;

    /// Reads the names in the folder's own order, until `take` returns false. What can't be read is told to
    /// `unreadable` and passed over, on FAT; elsewhere it is the end.
    void readNames(const std::function<bool(std::string_view)>& take,
                   const std::function<void(const std::string&)>& unreadable) const;

    /// All of them. @throws Failure unless all can be read.
    std::vector<std::string> names() const;

    void makeFolder(const std::string& name, mode_t mode) const;

    /// Removes a file, or a folder with all that is in it; it may be missing.
    void remove(const std::string& name, int level = 0) const;

    /// Removes all that is in this folder.
    void clear(int level = 0) const;

private:
    int openBelow(const std::string& path, int flags, mode_t mode) const;

    Descriptor _descriptor;
    Mounts _mounts;
};

/// The same file or folder.
bool isSame(const struct stat& one, const struct stat& other);

} // namespace tool
