#include "lab/drives/Media.h"

#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "lab/drives/Command.h"
#include "lab/drives/Waiting.h"
#include "lab/support/SystemCall.h"
#include "lab/support/TemporaryFolder.h"

namespace lab {

namespace {

std::string partitionType(const DriveDescription& description)
{
    const bool isDos = description.label == Label::dos;
    if (description.fileSystem == FileSystem::ext4) {
        return isDos ? "83" : "0FC63DAF-8483-4772-8E79-3D69D8477DE4";
    }
    return isDos ? "c" : "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7";
}

// A megabyte at either end stays free for the tables. The starts are given, for where sfdisk would begin depends on the
// transfer size that the drive likes best, and can be the end of a small medium.
std::string partitionScript(const DriveDescription& description)
{
    const int size = (description.megabytes - 2) / description.partitions;
    std::string script = std::string("label: ") + (description.label == Label::dos ? "dos" : "gpt") + "\n";
    for (int number = 0; number < description.partitions; ++number) {
        script += "start=" + std::to_string(1 + number * size) + "MiB, size=" + std::to_string(size) +
                  "MiB, type=" + partitionType(description) + "\n";
    }
    return script;
}

/// A FAT partition for reading, until the end of this.
class MountedPartition {
public:
    explicit MountedPartition(const std::string& node)
    {
        checked(::mount(node.c_str(), path().c_str(), "vfat", MS_RDONLY, nullptr), "mount of " + node);
    }
    MountedPartition(const MountedPartition&) = delete;
    MountedPartition& operator=(const MountedPartition&) = delete;
    ~MountedPartition() { ::umount(path().c_str()); }

    const std::string& path() const { return _folder.path(); }

private:
    TemporaryFolder _folder;
};

} // namespace

void formatNode(const std::string& node, FileSystem fileSystem)
{
    if (fileSystem == FileSystem::vfat) {
        runCommand({"mkfs.vfat", "-I", "--mbr=no", node});
    } else if (fileSystem == FileSystem::ext4) {
        runCommand({"mkfs.ext4", "-q", "-F", node});
    }
}

void wipeMedium(const std::string& blockNode)
{
    runCommand({"wipefs", "--all", "--force", blockNode});
    runCommand({"blockdev", "--rereadpt", blockNode});
}

void prepareMedium(const std::string& blockNode, const DriveDescription& description)
{
    if (description.label == Label::none) {
        formatNode(blockNode, description.fileSystem);
        return;
    }
    runCommand({"sfdisk", "--quiet", "--wipe", "always", "--wipe-partitions", "always", blockNode},
               partitionScript(description));
    for (int number = 1; number <= description.partitions; ++number) {
        const std::string node = blockNode + std::to_string(number);
        waitForFile(node);
        formatNode(node, description.fileSystem);
    }
}

std::map<std::string, std::string> contentOf(const std::string& partitionNode)
{
    const MountedPartition partition(partitionNode);
    std::map<std::string, std::string> content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(partition.path())) {
        std::string& held = content[entry.path().lexically_relative(partition.path())];
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            held.assign(std::istreambuf_iterator<char>(file), {});
        }
    }
    return content;
}

} // namespace lab
