#include "tool/Existing.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "tool/Interrupts.h"
#include "tool/Text.h"

namespace tool {

using Place = CopyEntry::Place;

namespace {

std::size_t nameHash(std::string_view name)
{
    return std::hash<std::string>()(folded(name));
}

} // namespace

bool isSameTime(const timespec& source, const timespec& onMedium)
{
    constexpr std::int64_t day = 86'400; // by which times of day may be off
    constexpr std::int64_t first = 315'532'800;
    constexpr std::int64_t last = 4'354'819'198;
    constexpr std::int64_t second = 1'000'000'000;
    if (source.tv_sec < first)
        return onMedium.tv_sec <= first + day;
    if (source.tv_sec > last)
        return onMedium.tv_sec >= last - day;
    const std::int64_t seconds = source.tv_sec - onMedium.tv_sec;
    return std::abs(seconds) <= 2 && std::abs(seconds * second + source.tv_nsec - onMedium.tv_nsec) < 2 * second;
}

void Existing::settle(CopySource& source, const Folder& destination)
{
    EntryFolders folders(source, destination);
    std::vector<int> levels(source.entries.size()); // -1: nothing is there below it
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        CopyEntry& entry = source.entries[i];
        if (entry.place == Place::skipped)
            continue;
        const int above = i == 0 ? 0 : levels[entry.parent];
        levels[i] = -1;
        stopIfInterrupted();
        if (above == -1)
            continue;
        try {
            settleEntry(source, i, folders.of(i), above);
        } catch (const Failure& failure) {
            _obstacles.add(Failure(failure.status(), source.pathOf(i) + ": " + failure.what()));
        }
        levels[i] = entry.place == Place::merged ? above + 1 : -1;
    }
}

void Existing::settleEntry(CopySource& source, std::size_t index, const Folder& folder, int level)
{
    CopyEntry& entry = source.entries[index];
    const auto there = folder.look(entry.name);
    if (!there)
        return;
    if (!hasOwnName(folder, entry.name, level))
        throw Failure(statusWrongUse, entry.name + " is the short name of another file");
    entry.place = placeOf(entry, *there);
}

Place Existing::placeOf(const CopyEntry& entry, const struct stat& there) const
{
    const bool folder = S_ISDIR(there.st_mode);
    if (folder != entry.folder || (!folder && !S_ISREG(there.st_mode)))
        throw Failure(statusWrongUse, folder ? "a folder has the name already, and no file takes its place"
                                             : "something that is no folder has the name already");
    if (folder && (_rules.force || _rules.skipExisting))
        return Place::merged;
    const bool same =
        static_cast<std::uint64_t>(there.st_size) == entry.bytes && isSameTime(entry.modified, there.st_mtim);
    if (!folder && _rules.skipExisting && same)
        return Place::skipped;
    if (!_rules.force)
        throw Failure(statusWrongUse, _rules.skipExisting
                                          ? "is there already with another size or time; --force replaces it"
                                          : "is there already; --force replaces it");
    return Place::replaced;
}

/// By its FAT short name a file is found under a name that is not its own, and must not be replaced.
bool Existing::hasOwnName(const Folder& folder, const std::string& name, int level)
{
    _names.resize(std::max(_names.size(), static_cast<std::size_t>(level) + 1));
    std::optional<Names>& names = _names[static_cast<std::size_t>(level)];
    const struct stat status = folder.status();
    if (!names || !isSame(names->folder, status)) {
        names.emplace(Names{status, {}});
        const auto take = [&names](std::string_view other) { return names->hashes.push_back(nameHash(other)), true; };
        folder.readNames(take, [](const std::string&) {});
        std::sort(names->hashes.begin(), names->hashes.end());
    }
    return std::binary_search(names->hashes.begin(), names->hashes.end(), nameHash(name));
}

} // namespace tool
