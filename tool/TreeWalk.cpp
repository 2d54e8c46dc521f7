#include "tool/TreeWalk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>

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
    constexpr std::size_t dequeBytes = 640; // of one entry
    CopySource source{std::move(folder), path, {}};
    _source = &source;
    _bytes += sizeof source + dequeBytes + path.size();
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

} // namespace tool
