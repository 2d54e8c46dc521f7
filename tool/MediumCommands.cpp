// `put`, `get` and `ls`: what goes on with a mounted medium.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>

#include "tool/Commands.h"
#include "tool/MountedVolume.h"
#include "tool/Text.h"
#include "tool/Transfer.h"

namespace tool {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

namespace {

constexpr const char* stagingName = ".krmo-incomplete";

/// A path on the medium, below its root: without "." and "..", empty for the root itself.
std::string pathOnMedium(const std::string& path)
{
    std::string normal = ("/" / fs::path(path)).lexically_normal().relative_path();
    if (!normal.empty() && normal.back() == '/')
        normal.pop_back();
    return normal;
}

std::string below(const std::string& root, const std::string& path)
{
    return path.empty() ? root : root + "/" + path;
}

bool isStagingName(const std::string& name)
{
    return folded(name) == folded(stagingName);
}

/// What is below it is removed in the end. @param path on the medium.
void requireOutsideStaging(const std::string& path)
{
    if (isStagingName(path.substr(0, path.find('/'))))
        throw Failure(statusWrongUse, path + ": the name is taken for what is not complete");
}

std::uint64_t bytesOf(const std::vector<CopySource>& sources)
{
    std::uint64_t bytes = 0;
    for (const CopySource& source : sources)
        bytes += source.bytes();
    return bytes;
}

std::string copiedText(const std::vector<CopySource>& sources)
{
    std::size_t files = 0;
    for (const CopySource& source : sources)
        files += source.files();
    return std::to_string(files) + " files, " + sizeText(bytesOf(sources));
}

std::uint64_t availableBytes(KRScsiMODiskDrive& drive)
{
    KRQuadWord available;
    KRQuadWord free;
    if (!drive.getDiscFreeSpace(available, free))
        throw systemFailure("free space", errno);
    return available;
}

std::uint64_t availableBytes(const Descriptor& folder)
{
    struct statvfs space {};
    if (fstatvfs(folder.number(), &space) == -1)
        throw systemFailure("free space", errno);
    return static_cast<std::uint64_t>(space.f_frsize) * space.f_bavail;
}

/// The paths on the medium that were asked for; what lies in its root instead of the root, which has no name.
std::vector<std::string> wantedPaths(const std::vector<std::string>& paths, const std::string& root)
{
    std::vector<std::string> wanted;
    for (const std::string& path : paths) {
        const std::string onMedium = pathOnMedium(path);
        if (onMedium.empty())
            for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
                if (!isStagingName(entry.path().filename()))
                    wanted.push_back(entry.path());
            }
        else
            wanted.push_back(below(root, onMedium));
    }
    return wanted;
}

std::string timeText(time_t time)
{
    std::array<char, 32> text{};
    struct tm local {};
    localtime_r(&time, &local);
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
    return text.data();
}

ordered_json fileAsJson(const fs::path& path)
{
    const std::string name = path.filename();
    struct stat file {};
    if (lstat(path.c_str(), &file) == -1)
        throw systemFailure(path, errno);
    const bool folder = S_ISDIR(file.st_mode);
    ordered_json entry = {{"name", jsonText(name)},
                          {"type", folder ? "folder" : "file"},
                          {"bytes", folder ? 0 : file.st_size},
                          {"modified", timeText(file.st_mtime)}};
    if (!isUtf8(name))
        entry["nameBytes"] = hexadecimal(name); // JSON can't hold the name itself
    return entry;
}

std::vector<fs::path> listing(const std::string& path)
{
    struct stat file {};
    if (stat(path.c_str(), &file) == -1)
        throw systemFailure(path, errno);
    if (!S_ISDIR(file.st_mode))
        return {path};
    const fs::directory_iterator entries(path);
    std::vector<fs::path> paths(begin(entries), end(entries));
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace

void putFiles(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive);
    const std::string folder = pathOnMedium(arguments.to);
    for (const fs::path& name : fs::path(folder))
        requireFatName(name);
    std::vector<CopySource> sources = planSources(arguments.paths);
    requireFat(sources);
    for (const CopySource& source : sources)
        requireOutsideStaging(folder.empty() ? source.name : folder);
    Progress progress(output.quiet());
    progress.expect(bytesOf(sources) * (arguments.verify ? 2 : 1));

    Volume volume(drive, MountedFor::thisProcess);
    MountedVolume medium(volume, Access::writing);
    const std::string root = medium.root();
    const std::string staging = below(root, stagingName);
    medium.run([&] {
        fs::remove_all(staging); // of a run that was killed
        Transfer({volume.drive(), medium.rootDescriptor(), staging, below(root, folder), availableBytes(volume.drive()),
                  arguments.verify, arguments.force},
                 progress)
            .run(sources);
    });
    progress.clear();
    medium.finish();
    output.remark("put " + copiedText(sources) + (arguments.verify ? ", compared" : ", not compared"));
}

void getFiles(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive);
    const Descriptor folder(open(arguments.to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen())
        throw systemFailure(arguments.to, errno);
    const std::string to = fs::absolute(arguments.to);
    std::vector<CopySource> sources;
    Progress progress(output.quiet());

    Volume volume(drive, MountedFor::thisProcess);
    MountedVolume medium(volume, Access::reading);
    medium.run([&] {
        sources = planSources(wantedPaths(arguments.paths, medium.root()));
        progress.expect(bytesOf(sources));
        const std::string staging = to + "/" + stagingName + ".XXXXXX"; // others may write there, and must not guess it
        Transfer({volume.drive(), folder.number(), staging, to, availableBytes(folder), false, arguments.force},
                 progress)
            .run(sources);
    });
    progress.clear();
    medium.finish();
    output.remark("got " + copiedText(sources));
}

void listFiles(const Arguments& arguments, Output& output)
{
    const std::string path = pathOnMedium(arguments.paths.empty() ? "" : arguments.paths.front());
    ordered_json list = ordered_json::array();
    std::vector<std::string> names;
    Volume volume(reserveDrive(arguments.drive), MountedFor::thisProcess);
    MountedVolume medium(volume, Access::reading);
    medium.run([&] {
        for (const fs::path& file : listing(below(medium.root(), path))) {
            list.push_back(fileAsJson(file));
            names.push_back(file.filename());
        }
    });
    medium.finish();
    if (output.json())
        return output.document({{"path", jsonText("/" + path)}, {"entries", list}});
    for (std::size_t i = 0; i < names.size(); ++i) {
        const ordered_json& entry = list[i];
        const std::string size = std::to_string(entry["bytes"].get<std::uint64_t>());
        output.line(std::string(12 - std::min<std::size_t>(12, size.size()), ' ') + size + "  " +
                    entry["modified"].get<std::string>() + "  " + output.shown(names[i]) +
                    (entry["type"] == "folder" ? "/" : ""));
    }
}

} // namespace tool
