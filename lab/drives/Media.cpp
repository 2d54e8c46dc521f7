#include "lab/drives/Media.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"
#include "lab/support/TemporaryFolder.h"
#include "platform/SystemFiles.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

const std::string folder = "/run/lab/media"; // which init and tests share
constexpr off_t megabyte = 1 << 20;

std::string partitionType(const DriveDescription& description)
{
    const bool isDos = description.label == Label::dos;
    if (description.fileSystem == FileSystem::ext4) {
        return isDos ? "83" : "0FC63DAF-8483-4772-8E79-3D69D8477DE4";
    }
    return isDos ? "c" : "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7";
}

// A megabyte at either end stays free for the tables.
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

void copyRange(const Descriptor& from, const Descriptor& target, off_t first, off_t end, off_t shift)
{
    std::vector<char> buffer(1U << 16U);
    while (first < end) {
        const size_t length = std::min(buffer.size(), static_cast<size_t>(end - first));
        const auto count = ::pread(from.number(), buffer.data(), length, first);
        checked(count > 0 ? 0 : -1, "read a medium");
        checked(static_cast<int>(::pwrite(target.number(), buffer.data(), static_cast<size_t>(count), first + shift)),
                "write a medium");
        first += count;
    }
}

// Copies what is not a hole, some way further on in the other file, which is made no shorter than that.
void copyData(const std::string& source, const Descriptor& target, off_t shift)
{
    const Descriptor from = openFile(source, O_RDONLY);
    const auto size = static_cast<off_t>(fs::file_size(source));
    struct stat status {};
    checked(::fstat(target.number(), &status), "look at a medium");
    checked(::ftruncate(target.number(), std::max(status.st_size, size + shift)), "make a medium longer");
    for (off_t end = 0; end < size;) {
        const off_t first = ::lseek(from.number(), end, SEEK_DATA);
        end = first < 0 ? size : ::lseek(from.number(), first, SEEK_HOLE);
        copyRange(from, target, first < 0 ? size : first, end, shift);
    }
}

void formatFile(const std::string& path, FileSystem fileSystem, int sectorSize)
{
    constexpr int smallestExt4Block = 1024;
    if (fileSystem == FileSystem::vfat) {
        runCommand({"mkfs.vfat", "-S", std::to_string(sectorSize), path});
    } else if (fileSystem == FileSystem::ext4 && sectorSize > smallestExt4Block) {
        runCommand({"mkfs.ext4", "-q", "-F", "-b", std::to_string(sectorSize), path});
    } else if (fileSystem == FileSystem::ext4) {
        runCommand({"mkfs.ext4", "-q", "-F", path});
    }
}

// fdisk reads the script that sfdisk would, and unlike that it can be told how large the sectors of a file are.
void divide(const std::string& path, const DriveDescription& description)
{
    const std::string script = path + ".script";
    std::ofstream(script) << partitionScript(description);
    const std::string said =
        runCommand({"fdisk", "-b", std::to_string(description.sectorSize), path}, "I\n" + script + "\nw\n");
    fs::remove(script);
    if (said.find("Script successfully applied") == std::string::npos) {
        throw std::runtime_error("fdisk did not divide a medium: " + said);
    }
}

void makeFile(const std::string& path, off_t size)
{
    std::ofstream(path).close();
    fs::resize_file(path, static_cast<uintmax_t>(size));
}

void addFileSystems(const std::string& path, const DriveDescription& description)
{
    const std::string partition = path + ".partition";
    const off_t size = (description.megabytes - 2) / description.partitions * megabyte;
    makeFile(partition, size);
    formatFile(partition, description.fileSystem, description.sectorSize);
    const Descriptor medium = openFile(path, O_WRONLY);
    for (int number = 0; number < description.partitions; ++number) {
        copyData(partition, medium, megabyte + number * size);
    }
    fs::remove(partition);
}

std::string fileNameFor(const DriveDescription& description)
{
    std::ostringstream name;
    name << "prepared-" << static_cast<int>(description.label) << "-" << static_cast<int>(description.fileSystem) << "-"
         << description.partitions << "-" << description.megabytes << "-" << description.sectorSize;
    return name.str();
}

// Processes that prepare the same medium at one time each do so, and one of them wins.
std::string preparedMedium(const DriveDescription& description)
{
    std::string path = folder + "/" + fileNameFor(description);
    if (fs::exists(path)) {
        return path;
    }
    fs::create_directories(folder);
    const std::string work = path + "-" + std::to_string(::getpid());
    makeFile(work, description.megabytes * megabyte);
    if (description.label == Label::none) {
        formatFile(work, description.fileSystem, description.sectorSize);
    } else {
        divide(work, description);
        addFileSystems(work, description);
    }
    fs::rename(work, path);
    return path;
}

std::string copyOf(const std::string& file)
{
    std::string path = folder + "/mediumXXXXXX";
    const Descriptor copy(checked(::mkstemp(path.data()), "make " + path));
    copyData(file, copy, 0);
    return path;
}

/// Where the contents of a medium are, by its description.
std::string fileOf(const std::string& medium)
{
    const std::string key = "file=";
    const size_t start = medium.find(key) + key.size();
    return medium.substr(start, medium.find(',', start) - start);
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

std::string makeMedium(const DriveDescription& description)
{
    return "file=" + copyOf(preparedMedium(description)) + ",sector-size=" + std::to_string(description.sectorSize) +
           description.mediumSettings;
}

std::string copyMedium(const std::string& medium)
{
    const std::string path = fileOf(medium);
    std::string copy = medium;
    return copy.replace(copy.find(path), path.size(), copyOf(path));
}

void forgetMedium(const std::string& medium)
{
    fs::remove(fileOf(medium));
}

void forgetMedia()
{
    for (const std::string& name : scsi::namesIn(folder)) {
        if (name.find("medium") == 0) {
            fs::remove(folder + "/" + name);
        }
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
