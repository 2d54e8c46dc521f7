#include "tool/Folder.h"

#include <dirent.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>

#include "tool/Failure.h"

namespace tool {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// "folder/" would lead through a link of that name.
std::string withoutLastSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

/// A name that the kernel refuses to give out, such as one with a slash, is passed over by setting the position behind
/// its entry. Only on FAT are positions multiples of an entry's size.
bool passOver(int folder)
{
    constexpr off_t entryBytes = 32;
    struct statfs system {};
    const off_t position = lseek(folder, 0, SEEK_CUR);
    if (position == -1 || fstatfs(folder, &system) == -1 || system.f_type != MSDOS_SUPER_MAGIC)
        return false;
    return lseek(folder, (position / entryBytes + 1) * entryBytes, SEEK_SET) != -1;
}

bool isDot(std::string_view name)
{
    return name == "." || name == "..";
}

} // namespace

bool isSame(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

Folder Folder::named(const std::string& path, Mounts mounts)
{
    Descriptor descriptor(::open(withoutLastSlashes(path).c_str(), folderFlags));
    if (descriptor.isOpen())
        return Folder(std::move(descriptor), mounts);
    struct stat file {};
    const int error = errno;
    if (lstat(withoutLastSlashes(path).c_str(), &file) == 0 && S_ISLNK(file.st_mode))
        throw Failure(statusWrongUse, path + " is a symbolic link, which is not followed; name what it leads to");
    throw systemFailure(path, error);
}

Folder Folder::ofDescriptor(int number)
{
    Descriptor descriptor(openat(number, ".", folderFlags));
    if (!descriptor.isOpen())
        throw systemFailure("open", errno);
    return Folder(std::move(descriptor));
}

int Folder::openBelow(const std::string& path, int flags, mode_t mode) const
{
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags) | O_NOFOLLOW | O_CLOEXEC;
    how.mode = mode;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    if (_mounts == Mounts::one)
        how.resolve |= RESOLVE_NO_XDEV;
    const auto number = static_cast<int>(syscall(SYS_openat2, _descriptor.number(), path.c_str(), &how, sizeof how));
    if (number == -1 && errno == ENOSYS)
        throw Failure(statusNotThere, "this kernel has no openat2 (Linux 5.6), without which nothing is copied safely");
    return number;
}

Descriptor Folder::open(const std::string& path, int flags, mode_t mode) const
{
    Descriptor descriptor(openBelow(path, flags, mode));
    if (descriptor.isOpen())
        return descriptor;
    const int error = errno;
    struct stat file {};
    if (fstatat(number(), path.c_str(), &file, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(file.st_mode))
        throw Failure(statusDeviceFailed, "has become a symbolic link, which is not followed");
    throw systemFailure("open", error);
}

Folder Folder::folder(const std::string& path) const
{
    return Folder(open(path, folderFlags), _mounts);
}

std::optional<struct stat> Folder::look(const std::string& name) const
{
    struct stat file {};
    if (fstatat(number(), name.c_str(), &file, AT_SYMLINK_NOFOLLOW) == 0)
        return file;
    if (errno != ENOENT)
        throw systemFailure(name, errno);
    return {};
}

struct stat Folder::status() const
{
    struct stat file {};
    if (fstat(number(), &file) == -1)
        throw systemFailure("folder", errno);
    return file;
}

void Folder::readNames(const std::function<bool(std::string_view)>& take,
                       const std::function<void(const std::string&)>& unreadable) const
{
    constexpr std::size_t bufferBytes = 32768;
    alignas(dirent64) char buffer[bufferBytes];
    lseek(number(), 0, SEEK_SET);
    for (;;) {
        const ssize_t length = getdents64(number(), buffer, bufferBytes);
        if (length == 0)
            return;
        if (length == -1) {
            const int error = errno;
            unreadable(std::string("a name can't be read: ") + systemFailure("folder", error).what());
            if (error != EIO || !passOver(number()))
                return;
        }
        for (ssize_t at = 0; at < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(buffer + at);
            at += entry->d_reclen;
            if (!isDot(entry->d_name) && !take(entry->d_name))
                return;
        }
    }
}

std::vector<std::string> Folder::names() const
{
    std::vector<std::string> names;
    readNames([&names](std::string_view name) { return names.emplace_back(name), true; },
              [](const std::string& reason) { throw Failure(statusDeviceFailed, reason); });
    return names;
}

void Folder::makeFolder(const std::string& name, mode_t mode) const
{
    if (mkdirat(number(), name.c_str(), mode) == -1)
        throw systemFailure("folder " + name, errno);
}

void Folder::remove(const std::string& name, int level) const
{
    if (unlinkat(number(), name.c_str(), 0) == 0 || errno == ENOENT)
        return;
    if (errno != EISDIR && errno != EPERM) // EPERM is what POSIX gives for a folder
        throw systemFailure(name, errno);
    folder(name).clear(level + 1);
    if (unlinkat(number(), name.c_str(), AT_REMOVEDIR) == -1)
        throw systemFailure(name, errno);
}

void Folder::clear(int level) const
{
    if (level > mostLevels)
        throw Failure(statusDeviceFailed, "more than " + std::to_string(mostLevels) + " folders in one another");
    for (const std::string& name : names())
        remove(name, level);
}

} // namespace tool
