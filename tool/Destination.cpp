#include "tool/Destination.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include "tool/Failure.h"
#include "tool/MountedVolume.h"
#include "tool/StagingName.h"

namespace tool {

namespace {

constexpr mode_t forAll = 0777; // under the umask
constexpr mode_t forOwner = 0700;
constexpr mode_t forOthers = 0077;

/// What is in it is removed in the end: it must not be another folder of the same user's.
void requireOwn(const Folder& staging)
{
    const struct stat status = staging.status();
    if (status.st_uid != geteuid() || (status.st_mode & forOthers) != 0 || !staging.names().empty())
        throw Failure(statusDeviceFailed, "the temporary folder was exchanged for another one");
}

struct statvfs spaceOf(const Folder& folder)
{
    struct statvfs space {};
    if (fstatvfs(folder.number(), &space) == -1)
        throw systemFailure("free space", errno);
    return space;
}

} // namespace

std::uint64_t totalBytes(const Folder& folder)
{
    const struct statvfs space = spaceOf(folder);
    return std::uint64_t{space.f_blocks} * space.f_frsize;
}

Destination::Destination(Folder folder) : _root(std::move(folder)) {}

Destination::Destination(MountedVolume& medium, KRScsiMODiskDrive& drive, std::string path)
    : _medium(&medium), _drive(&drive), _path(std::move(path)), _root(Folder::ofDescriptor(medium.rootDescriptor()))
{
}

const Folder* Destination::reach(bool make)
{
    if (_path.empty())
        return &_root;
    if (_folder.number() != -1)
        return &_folder;
    Folder folder = Folder::ofDescriptor(_root.number());
    std::filesystem::path above;
    for (const std::filesystem::path& part : std::filesystem::path(_path)) {
        const auto found = folder.look(part);
        if (!found && !make)
            return nullptr;
        if (found && !S_ISDIR(found->st_mode))
            throw Failure(statusWrongUse, (above / part).string() + " is not a folder");
        if (!found) {
            folder.makeFolder(part, forAll);
            _newFolders.push_back({above, part});
        }
        above /= part;
        folder = folder.folder(part);
    }
    _folder = std::move(folder);
    return &_folder;
}

std::uint64_t Destination::availableBytes() const
{
    const struct statvfs space = spaceOf(_root);
    return std::uint64_t{space.f_bavail} * space.f_frsize;
}

std::uint64_t Destination::blockBytes() const
{
    return spaceOf(_root).f_frsize;
}

File Destination::newFile(const Folder& folder, const std::string& name) const
{
    const bool reachable = _medium == nullptr || !_medium->isOwn();
    return File::writing(folder, name, _drive, reachable ? File::Maker::system : File::Maker::library);
}

File Destination::reading(const Folder& folder, const std::string& name) const
{
    return File::reading(folder, name, _drive);
}

void Destination::makeStaging()
{
    _stagingName = isOnMedium() ? leftoverName() : uniqueStagingName();
    _root.makeFolder(_stagingName, forOwner);
    Folder staging = _root.folder(_stagingName);
    if (!isOnMedium())
        requireOwn(staging);
    _staging = std::move(staging);
    if (isOnMedium())
        requireOutsideStaging();
}

/// What is below it is removed in the end.
void Destination::requireOutsideStaging() const
{
    const std::string first = _path.substr(0, _path.find('/'));
    if (!first.empty() && leadsToStaging(_root, first))
        throw Failure(statusWrongUse, first + " is the short name of the temporary folder");
}

/// Removes what a put that was killed left; where that can't be done, the next name is taken.
std::string Destination::leftoverName()
{
    for (;; ++_stagingNumber) {
        std::string name = stagingName(_stagingNumber);
        try {
            _root.remove(name);
            return name;
        } catch (const Failure& failure) {
            if (_stagingNumber + 1 == mostStagingNames)
                throw;
            tell("krmo: ", name + ", which an earlier put left, can't be removed and is not used: " + failure.what());
        }
    }
}

/// What was copied is there and whole by then; so this is no failure.
void Destination::removeStaging()
{
    if (_staging.number() == -1)
        return;
    try {
        const Folder staging = std::exchange(_staging, Folder(Descriptor()));
        staging.clear();
        if (unlinkat(_root.number(), _stagingName.c_str(), AT_REMOVEDIR) == -1)
            throw systemFailure(_stagingName, errno);
    } catch (const Failure& failure) {
        tell("krmo: ", std::string("the temporary folder is left: ") + failure.what());
    }
}

void Destination::withdraw()
{
    if (_root.number() == -1)
        throw Failure(statusDeviceFailed, "the medium is not mounted any more");
    if (_staging.number() == -1 && _newFolders.empty())
        return;
    requireSameMedium(); // to remove is to write
    removeStaging();
    _folder = Folder(Descriptor());
    for (; !_newFolders.empty(); _newFolders.pop_back()) { // fails where a SOURCE is in it already
        const auto& [above, name] = _newFolders.back();
        const Folder folder = above.empty() ? Folder::ofDescriptor(_root.number()) : _root.folder(above);
        unlinkat(folder.number(), name.c_str(), AT_REMOVEDIR);
    }
}

void Destination::flush() const
{
    if (syncfs(_root.number()) == -1)
        throw systemFailure("flush", errno);
}

void Destination::requireSameMedium() const
{
    if (_medium != nullptr)
        _medium->requireSameMedium();
}

bool Destination::renew()
{
    const bool staged = _staging.number() != -1;
    for (Folder* const folder : {&_root, &_folder, &_staging})
        *folder = Folder(Descriptor());
    const bool namesToo = _medium->refresh();
    _root = Folder::ofDescriptor(_medium->rootDescriptor());
    if (staged)
        _staging = _root.folder(_stagingName);
    return namesToo;
}

} // namespace tool
