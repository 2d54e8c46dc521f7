#include "tool/TreeWalk.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <functional>
#include <map>

#include "tool/Interrupts.h"
#include "tool/Text.h"

namespace tool {

namespace {

constexpr std::size_t mostNames = 1'000'000;
constexpr std::size_t mostBytes = 160'000'000;

/// @throws Failure that says why this is not copied.
void requireCopyable(const struct stat& file)
{
    if (S_ISLNK(file.st_mode))
        throw Failure(statusWrongUse, "is a symbolic link, which is not followed; name what it leads to");
    if (!S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode))
        throw Failure(statusWrongUse, "is neither a file nor a folder");
}

CopyEntry entryOf(const struct stat& file, std::uint32_t parent, std::string name)
{
    CopyEntry entry;
    entry.parent = parent;
    entry.folder = S_ISDIR(file.st_mode);
    entry.name = std::move(name);
    entry.bytes = entry.folder ? 0 : static_cast<std::uint64_t>(file.st_size);
    entry.modified = file.st_mtim;
    entry.device = file.st_dev;
    entry.number = file.st_ino;
    return entry;
}

/// Where a path of the command line leads: a name, and the folder that holds it.
struct Named {
    std::shared_ptr<const Folder> folder;
    std::string name;
};

/// "." and ".." lead to a folder whose name stands elsewhere.
Named nameOf(const std::string& path)
{
    const Folder folder = Folder::named(path, Folder::Mounts::any);
    std::array<char, PATH_MAX> link{};
    const ssize_t length =
        readlink(("/proc/self/fd/" + std::to_string(folder.number())).c_str(), link.data(), link.size());
    const std::string whole(link.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::string name = whole.substr(whole.rfind('/') + 1);
    if (name.empty())
        throw Failure(statusWrongUse, path + " has no name to copy it under");
    auto above = std::make_shared<const Folder>(Folder::named(path + "/..", Folder::Mounts::any));
    if (const auto found = above->look(name); !found || !isSame(*found, folder.status()))
        throw Failure(statusDeviceFailed, path + " was moved meanwhile");
    return {above, name};
}

Named resolve(std::string path, std::map<std::string, std::shared_ptr<const Folder>>& folders)
{
    if (path.empty())
        throw Failure(statusWrongUse, "an empty name");
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    const std::size_t slash = path.rfind('/');
    const std::string name = path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..")
        return nameOf(path);
    const std::string above = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    std::shared_ptr<const Folder>& folder = folders[above];
    if (folder == nullptr) {
        Descriptor descriptor(open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!descriptor.isOpen())
            throw systemFailure(path, errno);
        folder = std::make_shared<const Folder>(std::move(descriptor), Folder::Mounts::any);
    }
    return {folder, name};
}

} // namespace

bool TreeWalk::isRoomFor(std::size_t nameBytes)
{
    constexpr std::size_t heapBytes = 32;
    _bytes += sizeof(CopyEntry) + heapBytes + nameBytes;
    if (!_full && (++_names > mostNames || _bytes > mostBytes)) {
        _full = true;
        problem(statusDeviceFailed, "more than " + std::to_string(_names - 1) + " files and folders, or too long " +
                                        "names; what is beyond is left out");
    }
    return !_full;
}

void TreeWalk::add(std::vector<CopySource>& sources, std::shared_ptr<const Folder> folder, const std::string& name,
                   const std::string& path)
{
    CopySource source{std::move(folder), path, {}};
    _source = &source;
    if (isRoomFor(name.size()))
        addEntry({*source.folder, 0, 0}, name, path);
    if (!source.entries.empty())
        sources.push_back(std::move(source));
}

void TreeWalk::addEntry(const Place& place, std::string name, const std::string& path)
{
    stopIfInterrupted();
    try {
        const auto file = place.folder.look(name);
        if (!file)
            throw systemFailure("open", ENOENT);
        requireCopyable(*file);
        if (!S_ISDIR(file->st_mode)) {
            if (_side == On::machine)
                place.folder.open(name, O_RDONLY | O_NONBLOCK);
            _source->entries.push_back(entryOf(*file, place.parent, std::move(name)));
            return;
        }
        if (place.level == Folder::mostLevels)
            throw Failure(statusDeviceFailed, "lies in more than " + std::to_string(place.level) + " folders");
        const Folder folder = place.folder.folder(name);
        _source->entries.push_back(entryOf(*file, place.parent, std::move(name)));
        addBelow(folder, static_cast<std::uint32_t>(_source->entries.size() - 1), place.level + 1, path);
    } catch (const Failure& failure) {
        if (failure.status() == statusInterrupted)
            throw;
        problem(failure.status(), path + ": " + failure.what());
    }
}

void TreeWalk::addBelow(const Folder& folder, std::uint32_t index, int level, const std::string& path)
{
    std::vector<std::string> names = this->names(folder, path);
    if (_side == On::medium && isCrossed(folder, names))
        throw Failure(statusDeviceFailed, "holds the same as another folder, and is left empty");
    for (std::string& name : names) {
        const std::string below = path + "/" + name;
        addEntry({folder, index, level}, std::move(name), below);
    }
}

std::vector<std::string> TreeWalk::names(const Folder& folder, const std::string& path)
{
    std::vector<std::string> names;
    folder.readNames(
        [&](std::string_view name) {
            const bool room = isRoomFor(name.size());
            if (room)
                names.emplace_back(name);
            return room;
        },
        [&](const std::string& reason) { problem(statusDeviceFailed, path + ": " + reason); });
    leaveOutDoubled(names, path);
    return names;
}

/// FAT takes no regard of case. Its names lead to the first of those that are the same.
void TreeWalk::leaveOutDoubled(std::vector<std::string>& names, const std::string& path)
{
    std::vector<std::pair<std::size_t, std::size_t>> keys;
    for (std::size_t i = 0; i < names.size(); ++i)
        keys.emplace_back(std::hash<std::string>()(folded(names[i])), i);
    std::sort(keys.begin(), keys.end());
    std::vector<std::size_t> doubled;
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (keys[i].first != keys[i - 1].first)
            continue;
        const std::string first = path + "/" + names[keys[i - 1].second];
        const std::string second = path + "/" + names[keys[i].second];
        doubled.push_back(keys[i].second);
        if (_side == On::medium)
            problem(statusDeviceFailed, second + ": the name is there twice; it leads to the first");
        else
            problem(statusWrongUse, first + " and " + second + " have the same name on FAT");
    }
    for (const std::size_t index : doubled)
        names[index].clear();
    names.erase(std::remove(names.begin(), names.end(), ""), names.end());
}

/// Two entries of a FAT that lead to one folder have numbers of their own, but what is in that folder has the same
/// number by both ways, as long as somebody holds it: the kernel makes the numbers up. So one entry of each folder
/// walked last is held.
bool TreeWalk::isCrossed(const Folder& folder, const std::vector<std::string>& names)
{
    constexpr std::size_t mostHeld = 256;
    for (const std::string& name : names) {
        try {
            Descriptor entry = folder.open(name, O_PATH);
            struct stat file {};
            if (fstat(entry.number(), &file) == -1)
                continue;
            const Number number(file.st_dev, file.st_ino);
            if (!_numbers.insert(number).second)
                return true;
            _held.emplace_back(number, std::move(entry));
            break;
        } catch (const Failure&) {
            continue; // is told of when its turn comes
        }
    }
    if (_held.size() > mostHeld) {
        _numbers.erase(_held.front().first);
        _held.pop_front();
    }
    return false;
}

std::vector<CopySource> planSources(const std::vector<std::string>& paths, Problems& problems)
{
    std::vector<CopySource> sources;
    std::map<std::string, std::shared_ptr<const Folder>> folders;
    TreeWalk walk(TreeWalk::On::machine, problems);
    for (const std::string& path : paths) {
        problems.gather([&] {
            const Named named = resolve(path, folders);
            walk.add(sources, named.folder, named.name, path);
        });
    }
    return sources;
}

} // namespace tool
