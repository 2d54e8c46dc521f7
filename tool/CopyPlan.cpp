#include "tool/CopyPlan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <numeric>

#include "tool/Failure.h"
#include "tool/Interrupts.h"
#include "tool/Text.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

void addEntry(CopySource& source, const std::string& path, const std::string& relative)
{
    struct stat file {};
    if (lstat(path.c_str(), &file) == -1)
        throw systemFailure(path, errno);
    if (S_ISLNK(file.st_mode))
        throw Failure(statusWrongUse, path + " is a symbolic link, which is not followed; name what it leads to");
    if (!S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode))
        throw Failure(statusWrongUse, path + " is neither a file nor a folder");
    const bool folder = S_ISDIR(file.st_mode);
    source.entries.push_back({relative, folder, folder ? 0 : static_cast<std::uint64_t>(file.st_size)});
    if (!folder)
        return;
    stopIfInterrupted();
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        addEntry(source, entry.path(), relative + "/" + entry.path().filename().string());
}

CopySource planSource(const std::string& path)
{
    CopySource source;
    source.path = fs::absolute(path).lexically_normal();
    if (source.path.size() > 1 && source.path.back() == '/')
        source.path.pop_back();
    source.name = fs::path(source.path).filename();
    if (source.name.empty())
        throw Failure(statusWrongUse, path + " has no name to copy it under");
    addEntry(source, source.path, source.name);
    return source;
}

std::string objectionTo(const std::string& name)
{
    constexpr std::size_t longest = 255;
    const std::size_t special = name.find_first_of("\"*:<>?\\|");
    if (std::any_of(name.begin(), name.end(), [](unsigned char character) { return character < ' '; }))
        return "holds a control character";
    if (special != std::string::npos)
        return std::string("holds ") + name[special];
    if (name.back() == '.' || name.back() == ' ')
        return "ends with a dot or a blank";
    return name.size() > longest ? "is too long" : "";
}

} // namespace

std::uint64_t CopySource::bytes() const
{
    return std::accumulate(entries.begin(), entries.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const CopyEntry& entry) { return sum + entry.bytes; });
}

std::size_t CopySource::files() const
{
    return static_cast<std::size_t>(
        std::count_if(entries.begin(), entries.end(), [](const CopyEntry& entry) { return !entry.folder; }));
}

std::vector<CopySource> planSources(const std::vector<std::string>& paths)
{
    std::vector<CopySource> sources;
    std::transform(paths.begin(), paths.end(), std::back_inserter(sources), planSource);
    return sources;
}

void requireFatName(const std::string& path)
{
    const std::string objection = objectionTo(path.substr(path.rfind('/') + 1));
    if (!objection.empty())
        throw Failure(statusWrongUse, path + ": FAT can't hold the name: it " + objection);
}

void requireFat(const std::vector<CopySource>& sources)
{
    constexpr std::uint64_t largestFile = 0xffffffff;
    std::map<std::string, std::string> seen;
    for (const CopySource& source : sources) {
        for (const CopyEntry& entry : source.entries) {
            const std::string path = source.pathOf(entry);
            requireFatName(path);
            if (entry.bytes > largestFile)
                throw Failure(statusWrongUse, path + ": FAT can't hold files of 4 GiB and more");
            const auto [other, isNew] = seen.emplace(folded(entry.path), path);
            if (!isNew)
                throw Failure(statusWrongUse, other->second + " and " + path + " have the same name on FAT");
        }
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
            names += directoryEntryBytes * (entry.name().size() / charactersInEntry + 2);
            blocks += entry.folder ? 1 : (entry.bytes + blockBytes - 1) / blockBytes;
        }
    }
    return names + blocks * blockBytes;
}

} // namespace tool
