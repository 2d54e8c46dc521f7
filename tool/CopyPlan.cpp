#include "tool/CopyPlan.h"

#include <algorithm>
#include <map>
#include <numeric>

#include "tool/Text.h"

namespace tool {

namespace {

bool isCopied(const CopyEntry& entry)
{
    return !entry.folder && entry.place != CopyEntry::Place::skipped;
}

} // namespace

std::string CopySource::pathOf(std::size_t index) const
{
    std::string below;
    for (; index != 0; index = entries[index].parent)
        below = "/" + entries[index].name + below;
    return path + below;
}

std::uint64_t CopySource::bytes() const
{
    return std::accumulate(
        entries.begin(), entries.end(), std::uint64_t{0},
        [](std::uint64_t sum, const CopyEntry& entry) { return sum + (isCopied(entry) ? entry.bytes : 0); });
}

std::size_t CopySource::files() const
{
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), isCopied));
}

std::size_t CopySource::files(CopyEntry::Place place) const
{
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [place](const CopyEntry& entry) {
        return !entry.folder && entry.place == place;
    }));
}

std::uint64_t bytesOf(const std::vector<CopySource>& sources)
{
    return std::accumulate(sources.begin(), sources.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const CopySource& source) { return sum + source.bytes(); });
}

const Folder& EntryFolders::of(std::size_t index)
{
    if (index == 0)
        return _base;
    const std::size_t parent = _source.entries[index].parent;
    while (!_levels.empty() && _levels.back().index > parent) // what lies behind it in their order is not above it
        _levels.pop_back();
    if (_levels.empty() || _levels.back().index != parent) {
        Folder folder = of(parent).folder(_source.entries[parent].name);
        _levels.push_back({parent, std::move(folder)});
    }
    return _levels.back().folder;
}

std::string fatObjectionTo(const std::string& name)
{
    constexpr std::size_t longest = 255;
    const std::size_t special = name.find_first_of("\"*:<>?\\|");
    if (std::any_of(name.begin(), name.end(), [](unsigned char character) { return character < ' '; }))
        return "FAT can't hold the name: it holds a control character";
    if (special != std::string::npos)
        return std::string("FAT can't hold the name: it holds ") + name[special];
    if (name.back() == '.' || name.back() == ' ')
        return "FAT can't hold the name: it ends with a dot or a blank";
    return name.size() > longest ? "FAT can't hold the name: it is too long" : "";
}

void findFatObstacles(const std::vector<CopySource>& sources, Problems& obstacles)
{
    constexpr std::uint64_t largestFile = 0xffffffff;
    std::map<std::string, std::string> seen;
    const auto object = [&obstacles](const std::string& text) { obstacles.add(Failure(statusWrongUse, text)); };
    for (const CopySource& source : sources) {
        for (std::size_t i = 0; i < source.entries.size(); ++i) {
            const std::string objection = fatObjectionTo(source.entries[i].name);
            if (!objection.empty())
                object(source.pathOf(i) + ": " + objection);
            if (source.entries[i].bytes > largestFile)
                object(source.pathOf(i) + ": FAT can't hold files of 4 GiB and more");
        }
        const auto [other, isNew] = seen.emplace(folded(source.name()), source.path);
        if (!isNew)
            object(other->second + " and " + source.path + " have the same name on FAT");
    }
}

std::uint64_t bytesOnMedium(const std::vector<CopySource>& sources, std::uint64_t blockBytes)
{
    constexpr std::uint64_t directoryEntryBytes = 32; // one a file, and one more for each 13 characters of its name
    constexpr std::uint64_t charactersInEntry = 13;
    std::uint64_t names = 0;
    std::uint64_t blocks = 2; // of the temporary folder, and of what becomes longer by the names
    for (const CopySource& source : sources) {
        for (const CopyEntry& entry : source.entries) {
            if (entry.place == CopyEntry::Place::skipped)
                continue;
            names += directoryEntryBytes * (entry.name.size() / charactersInEntry + 2);
            blocks += entry.folder ? 1 : (entry.bytes + blockBytes - 1) / blockBytes;
        }
    }
    return names + blocks * blockBytes;
}

} // namespace tool
