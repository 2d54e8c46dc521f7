#include "platform/DeviceNode.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdio>

#include "platform/SystemFiles.h"

namespace scsi {

namespace {

std::optional<dev_t> deviceNumber(const std::string& directory)
{
    unsigned int majorNumber = 0;
    unsigned int minorNumber = 0;
    if (std::sscanf(readAttribute(directory + "/dev").c_str(), "%u:%u", &majorNumber, &minorNumber) != 2)
        return std::nullopt;
    return makedev(majorNumber, minorNumber);
}

std::string proposedPath(const std::string& directory)
{
    const std::string key = "DEVNAME=";
    const std::string text = "\n" + readAttribute(directory + "/uevent");
    const std::size_t line = text.find("\n" + key);
    if (line == std::string::npos)
        return {};
    const std::size_t name = line + 1 + key.size();
    return "/dev/" + text.substr(name, text.find('\n', name) - name);
}

bool isNode(const struct stat& file, const DeviceNode& wanted)
{
    return (file.st_mode & S_IFMT) == wanted.kind && file.st_rdev == wanted.number;
}

/// Links are not followed: they name nodes that are found anyhow, and some lead out of /dev.
std::string searchNode(const std::string& directory, const DeviceNode& wanted, int levelsBelow)
{
    for (const std::string& name : namesIn(directory)) {
        std::string path = directory + "/" + name;
        struct stat file = {};
        if (lstat(path.c_str(), &file) == -1)
            continue;
        if (isNode(file, wanted))
            return path;
        if (!S_ISDIR(file.st_mode) || levelsBelow == 0)
            continue;
        std::string found = searchNode(path, wanted, levelsBelow - 1);
        if (!found.empty())
            return found;
    }
    return {};
}

} // namespace

std::optional<DeviceNode> findNode(const std::string& directory, mode_t kind)
{
    constexpr int levelsBelowDev = 2; // as deep as rules put nodes
    const std::optional<dev_t> number = deviceNumber(directory);
    if (!number)
        return std::nullopt;
    DeviceNode node{proposedPath(directory), kind, *number};
    struct stat file = {};
    if (stat(node.path.c_str(), &file) == -1 || !isNode(file, node))
        node.path = searchNode("/dev", node, levelsBelowDev);
    return node.path.empty() ? std::nullopt : std::make_optional(node);
}

} // namespace scsi
