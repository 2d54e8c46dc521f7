#include "tool/SystemDrives.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/UXScsi.h"
#include "tool/Text.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

std::string attribute(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<fs::path> entriesOf(const fs::path& folder)
{
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    std::vector<fs::path> paths(begin(entries), end(entries));
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool isDisk(const fs::path& unit)
{
    const std::string type = trimmed(attribute(unit / "type"));
    return type == "7" || (type == "0" && !entriesOf(unit / "block").empty());
}

/// Optical memory devices have removable media, whatever they say.
bool isFixedUnit(const fs::path& unit)
{
    const std::vector<fs::path> disks = entriesOf(unit / "block");
    return trimmed(attribute(unit / "type")) == "0" && !disks.empty() &&
           trimmed(attribute(disks.front() / "removable")) != "1";
}

SystemDrive readDrive(const fs::path& unit)
{
    constexpr std::size_t pageHeader = 4;
    const std::string address = unit.filename();
    const std::string node = UXScsiTarget(address.c_str(), false).getNativePath(); // the address, without a node
    const std::vector<fs::path> generic = entriesOf(unit / "scsi_generic");
    const std::string page = attribute(unit / "vpd_pg80");
    return {address,
            generic.empty() ? node : "/dev/" + generic.front().filename().string(),
            node == address ? std::string() : node,
            trimmed(attribute(unit / "vendor")),
            trimmed(attribute(unit / "model")),
            trimmed(page.substr(std::min(pageHeader, page.size())))};
}

/// The folders of a disk and of its partitions in sysfs; none where the node is no block node.
std::vector<fs::path> deviceFolders(const std::string& blockNode)
{
    struct stat node {};
    if (stat(blockNode.c_str(), &node) == -1 || !S_ISBLK(node.st_mode))
        return {};
    const std::string number = std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    std::vector<fs::path> folders = {"/sys/dev/block/" + number};
    for (const fs::path& entry : entriesOf(folders.front())) {
        if (!attribute(entry / "partition").empty())
            folders.push_back(entry);
    }
    return folders;
}

} // namespace

std::vector<SystemDrive> systemDrives(bool fixed)
{
    std::vector<SystemDrive> drives;
    for (const fs::path& unit : entriesOf("/sys/bus/scsi/devices")) {
        if (isDisk(unit) && (fixed || !isFixedUnit(unit)))
            drives.push_back(readDrive(unit));
    }
    return drives;
}

bool isFixed(const std::string& blockNode)
{
    const std::vector<fs::path> folders = deviceFolders(blockNode);
    return !folders.empty() && isFixedUnit(folders.front() / "device");
}

std::set<dev_t> deviceNumbers(const std::string& blockNode)
{
    std::set<dev_t> numbers;
    for (const fs::path& folder : deviceFolders(blockNode)) {
        unsigned int majorNumber = 0;
        unsigned int minorNumber = 0;
        if (std::sscanf(attribute(folder / "dev").c_str(), "%u:%u", &majorNumber, &minorNumber) == 2)
            numbers.insert(makedev(majorNumber, minorNumber));
    }
    return numbers;
}

std::vector<std::string> partitionNodes(const std::string& blockNode)
{
    const std::vector<fs::path> folders = deviceFolders(blockNode);
    std::vector<std::string> nodes;
    for (std::size_t i = 1; i < folders.size(); ++i)
        nodes.push_back("/dev/" + folders[i].filename().string());
    std::sort(nodes.begin(), nodes.end(), [](const std::string& one, const std::string& other) {
        return std::make_pair(one.size(), one) < std::make_pair(other.size(), other);
    });
    return nodes;
}

std::string devicesBuiltOn(const std::string& blockNode)
{
    std::string text;
    for (const fs::path& folder : deviceFolders(blockNode)) {
        for (const fs::path& holder : entriesOf(folder / "holders"))
            text += "\npart of " + holder.filename().string();
    }
    return text;
}

bool isOneOf(const std::string& node, const std::set<dev_t>& devices)
{
    struct stat file {};
    return stat(node.c_str(), &file) == 0 && S_ISBLK(file.st_mode) && devices.count(file.st_rdev) != 0;
}

} // namespace tool
