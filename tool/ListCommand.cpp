// `ls`: what is in a folder of the medium.

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "tool/Commands.h"
#include "tool/Interrupts.h"
#include "tool/MediumPath.h"
#include "tool/MountedVolume.h"
#include "tool/Problems.h"
#include "tool/StagingName.h"
#include "tool/Text.h"
#include "tool/Volume.h"

namespace tool {

using nlohmann::ordered_json;

namespace {

struct Listed {
    std::string name;
    bool folder;
    bool incomplete;
    std::uint64_t bytes;
    time_t modified;
};

std::string timeText(time_t time)
{
    std::array<char, 32> text{};
    struct tm local {};
    localtime_r(&time, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
    return text.data();
}

ordered_json asJson(const Listed& file)
{
    ordered_json entry = {{"name", jsonText(file.name)},
                          {"type", file.folder ? "folder" : "file"},
                          {"bytes", file.bytes},
                          {"modified", timeText(file.modified)}};
    if (!isUtf8(file.name))
        entry["nameBytes"] = hexadecimal(file.name); // JSON can't hold the name itself
    if (file.incomplete)
        entry["incomplete"] = true;
    return entry;
}

std::string asLine(const Listed& file, const Output& output)
{
    constexpr std::size_t width = 12;
    const std::string size = std::to_string(file.bytes);
    return std::string(width - std::min(width, size.size()), ' ') + size + "  " + timeText(file.modified) + "  " +
           output.shown(file.name) + (file.folder ? "/" : "") + (file.incomplete ? "  (incomplete)" : "");
}

Listed look(const Folder& folder, const std::string& name, bool inRoot)
{
    const auto file = folder.look(name);
    if (!file)
        throw systemFailure("look", ENOENT);
    const bool isFolder = S_ISDIR(file->st_mode);
    return {name, isFolder, inRoot && isStagingName(name), isFolder ? 0 : static_cast<std::uint64_t>(file->st_size),
            file->st_mtim.tv_sec};
}

/// Names that are there twice are shown as they are: each leads to the first.
std::vector<Listed> listFolder(const Folder& folder, const std::string& path, std::size_t mostNames, Problems& problems)
{
    std::vector<std::string> names;
    const auto problem = [&](const std::string& text) {
        problems.add(Failure(statusDeviceFailed, "/" + path + ": " + text));
    };
    folder.readNames(
        [&](std::string_view name) {
            if (names.size() == mostNames)
                return problem("more than " + std::to_string(mostNames) + " names; the rest is left out"), false;
            return names.emplace_back(name), true;
        },
        problem);
    std::sort(names.begin(), names.end());
    std::vector<Listed> list;
    for (const std::string& name : names) {
        stopIfInterrupted();
        try {
            list.push_back(look(folder, name, path.empty()));
        } catch (const Failure& failure) {
            problem(name + ": " + failure.what());
        }
        if (list.size() > 1 && list.back().name == list[list.size() - 2].name)
            problem(name + ": the name is there twice; it leads to the first");
    }
    return list;
}

std::vector<Listed> listing(const Folder& root, const std::string& path, std::size_t mostNames, Problems& problems)
{
    if (path.empty())
        return listFolder(root, path, mostNames, problems);
    const MediumPlace place = placeOf(path, root);
    const auto file = place.folder->look(place.name);
    if (!file)
        throw systemFailure("/" + path, ENOENT);
    if (S_ISDIR(file->st_mode))
        return listFolder(place.folder->folder(place.name), path, mostNames, problems);
    return {look(*place.folder, place.name, place.name == path)};
}

} // namespace

void listFiles(const Arguments& arguments, Output& output)
{
    const std::size_t mostNames = output.json() ? 150'000 : 1'000'000; // in 256 MB; a document is made as a whole
    const std::string path = pathOnMedium(arguments.paths.empty() ? "" : arguments.paths.front());
    std::vector<Listed> list;
    Problems problems;
    Volume volume(reserveDrive(arguments.drive, arguments.fixed), MountedFor::thisProcess);
    MountedVolume medium(volume, Access::reading);
    medium.run([&] { list = listing(Folder::ofDescriptor(medium.rootDescriptor()), path, mostNames, problems); });
    medium.finish();
    if (output.json()) {
        ordered_json entries = ordered_json::array();
        std::transform(list.begin(), list.end(), std::back_inserter(entries), asJson);
        output.document({{"path", jsonText("/" + path)}, {"warning", volume.warning()}, {"entries", entries}});
    } else {
        for (const Listed& file : list)
            output.line(asLine(file, output));
    }
    if (problems.number() != 0)
        throw Failure(statusDeviceFailed, problems.text());
}

} // namespace tool
