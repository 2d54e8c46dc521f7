// `put` and `get`: copies onto the medium and from it.

#include <filesystem>

#include "tool/Commands.h"
#include "tool/Destination.h"
#include "tool/MediumPath.h"
#include "tool/MountedVolume.h"
#include "tool/Progress.h"
#include "tool/SourcePaths.h"
#include "tool/StagingName.h"
#include "tool/Text.h"
#include "tool/Transfer.h"
#include "tool/TreeWalk.h"
#include "tool/Volume.h"

namespace tool {

namespace {

std::string copiedText(const std::vector<CopySource>& sources)
{
    std::size_t files = 0;
    for (const CopySource& source : sources)
        files += source.files();
    return std::to_string(files) + " files, " + sizeText(bytesOf(sources));
}

std::string putText(const std::vector<CopySource>& sources, bool verify, const Transfer& transfer)
{
    std::size_t skipped = 0;
    for (const CopySource& source : sources)
        skipped += source.files(CopyEntry::Place::skipped);
    const char* const compared = !verify                    ? ", not compared"
                                 : transfer.comparedNames() ? ", compared"
                                                            : ", compared (data, not names)";
    return "put " + copiedText(sources) + compared +
           (skipped == 0 ? "" : "; " + std::to_string(skipped) + " files were there already");
}

void findNamesThatAreTaken(const std::vector<CopySource>& sources, const std::string& folder, Problems& obstacles)
{
    const auto check = [&obstacles](const std::string& name, const std::string& path) {
        if (isStagingName(name))
            obstacles.add(Failure(statusWrongUse, path + ": the name is taken for what is not complete"));
    };
    if (!folder.empty())
        return check(folder.substr(0, folder.find('/')), folder);
    for (const CopySource& source : sources)
        check(source.name(), source.path);
}

void findObjectionsTo(const std::string& folder, Problems& obstacles)
{
    for (const std::filesystem::path& name : std::filesystem::path(folder)) {
        if (const std::string objection = fatObjectionTo(name); !objection.empty())
            obstacles.add(Failure(statusWrongUse, name.string() + ": " + objection));
    }
}

void addAllIn(const Folder& root, TreeWalk& walk, std::vector<CopySource>& sources)
{
    const auto folder = std::make_shared<const Folder>(Folder::ofDescriptor(root.number()));
    for (const std::string& name : walk.names(root, "")) {
        if (!isStagingName(name))
            walk.add(sources, folder, name, "/" + name);
    }
}

void addPath(const std::string& path, const Folder& root, TreeWalk& walk, std::vector<CopySource>& sources)
{
    if (leadsToStaging(root, path.substr(0, path.find('/'))))
        throw Failure(statusWrongUse, "/" + path + " is not complete: an earlier put left it");
    const MediumPlace place = placeOf(path, root);
    walk.add(sources, place.folder, place.name, "/" + path);
}

/// What was asked for; what lies in the root instead of the root, which has no name.
std::vector<CopySource> planPaths(const std::vector<std::string>& paths, const Folder& root, Problems& problems)
{
    std::vector<CopySource> sources;
    TreeWalk walk(TreeWalk::On::medium, problems);
    for (const std::string& path : paths) {
        const std::string onMedium = pathOnMedium(path);
        problems.gather([&] {
            if (onMedium.empty())
                addAllIn(root, walk, sources);
            else
                addPath(onMedium, root, walk, sources);
        });
    }
    return sources;
}

/// No file is larger than what it lies on.
void leaveOutTooLarge(std::vector<CopySource>& sources, const Folder& root, Problems& problems)
{
    const std::uint64_t most = totalBytes(root);
    for (CopySource& source : sources) {
        for (std::size_t i = 0; i < source.entries.size(); ++i) {
            CopyEntry& entry = source.entries[i];
            if (entry.bytes <= most)
                continue;
            entry.place = CopyEntry::Place::skipped;
            problems.add(Failure(statusDeviceFailed, source.pathOf(i) + ": is larger than the medium"));
        }
    }
}

} // namespace

void putFiles(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive, arguments.fixed);
    const std::string folder = pathOnMedium(arguments.to);
    Problems obstacles;
    findObjectionsTo(folder, obstacles);
    std::vector<CopySource> sources = planSources(arguments.paths, obstacles);
    findFatObstacles(sources, obstacles);
    findNamesThatAreTaken(sources, folder, obstacles);
    obstacles.throwIfAny();

    Progress progress(output.quiet());
    Volume volume(drive, MountedFor::thisProcess);
    MountedVolume medium(volume, Access::writing);
    medium.run([&] {
        Destination destination(medium, volume.drive(), folder);
        TransferRules rules;
        rules.force = arguments.force;
        rules.skipExisting = arguments.skipExisting;
        rules.verify = arguments.verify;
        rules.keepTimes = true;
        Transfer transfer(destination, rules, obstacles, progress);
        transfer.run(sources);
        progress.clear();
        output.remark(putText(sources, arguments.verify, transfer));
        output.finish(); // that the data are there is true whatever comes of the unmount
    });
    medium.finish();
}

void getFiles(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive, arguments.fixed);
    Destination destination(Folder::named(arguments.to));
    Problems problems;
    std::string got;
    Progress progress(output.quiet());
    Volume volume(drive, MountedFor::thisProcess);
    MountedVolume medium(volume, Access::reading);
    medium.run([&] {
        const Folder root = Folder::ofDescriptor(medium.rootDescriptor());
        std::vector<CopySource> sources = planPaths(arguments.paths, root, problems);
        leaveOutTooLarge(sources, root, problems);
        TransferRules rules;
        rules.force = arguments.force;
        rules.goOn = true;
        rules.source = &volume.drive();
        if (!sources.empty()) {
            Transfer(destination, rules, problems, progress).run(sources);
            got = "got " + copiedText(sources);
        }
    });
    progress.clear();
    if (!got.empty()) {
        output.remark(got);
        output.finish();
    }
    medium.finish();
    if (problems.number() != 0)
        throw Failure(got.empty() ? problems.status() : statusDeviceFailed, problems.text());
}

} // namespace tool
