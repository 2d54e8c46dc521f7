#include "platform/ScsiDevice.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "platform/SystemFiles.h"

namespace scsi {

namespace {

std::string lastName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

bool isAddress(const std::string& name)
{
    constexpr auto colons = 3;
    const bool plain = name.find_first_not_of("0123456789:") == std::string::npos;
    const bool fieldsFilled =
        !name.empty() && name.front() != ':' && name.back() != ':' && name.find("::") == std::string::npos;
    return plain && fieldsFilled && std::count(name.begin(), name.end(), ':') == colons;
}

/// The directory of the device that a node belongs to. A partition has none, its disk has: sysfs gives partitions
/// no `device` link.
std::string directoryOfNode(const struct stat& node)
{
    if (!S_ISCHR(node.st_mode) && !S_ISBLK(node.st_mode))
        return {};
    const char* const kind = S_ISBLK(node.st_mode) ? "block/" : "char/";
    const std::string number = std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    return resolvedPath(std::string("/sys/dev/") + kind + number + "/device");
}

/// Other devices have a `device` too (an NVMe disk its controller, a SAS host's bsg node its host).
bool isScsiDevice(const std::string& directory)
{
    return isAddress(lastName(directory)) && lastName(resolvedPath(directory + "/subsystem")) == "scsi";
}

} // namespace

ScsiDevice::ScsiDevice(std::string directory) : _directory(std::move(directory)) {}

std::optional<ScsiDevice> ScsiDevice::in(const std::string& directory)
{
    if (isScsiDevice(directory))
        return ScsiDevice(directory);
    errno = ENODEV;
    return std::nullopt;
}

std::optional<ScsiDevice> ScsiDevice::find(const std::string& name)
{
    if (isAddress(name))
        return in(resolvedPath("/sys/bus/scsi/devices/" + name));
    struct stat node = {};
    return stat(name.c_str(), &node) == 0 ? of(node) : std::nullopt;
}

std::optional<ScsiDevice> ScsiDevice::of(const struct stat& node)
{
    return in(directoryOfNode(node));
}

std::string ScsiDevice::address() const
{
    return lastName(_directory);
}

int ScsiDevice::logicalUnit() const
{
    const std::string unit = _directory.substr(_directory.rfind(':') + 1);
    return static_cast<int>(std::strtoull(unit.c_str(), nullptr, 10));
}

std::optional<DeviceNode> ScsiDevice::nodeOf(const char* deviceClass, mode_t kind) const
{
    const std::string directory = _directory + "/" + deviceClass;
    for (const std::string& name : namesIn(directory)) {
        if (std::optional<DeviceNode> node = findNode(directory + "/" + name, kind))
            return node;
    }
    return std::nullopt;
}

std::optional<DeviceNode> ScsiDevice::blockNode() const
{
    return nodeOf("block", S_IFBLK);
}

std::optional<DeviceNode> ScsiDevice::commandNode() const
{
    errno = 0;
    std::optional<DeviceNode> node = nodeOf("scsi_generic", S_IFCHR);
    if (!node)
        node = blockNode();
    if (!node && errno != EMFILE && errno != ENFILE) // with which sysfs could not be read
        errno = ENOENT;
    return node;
}

bool ScsiDevice::isSizeZero() const
{
    const std::string directory = _directory + "/block";
    const std::vector<std::string> disks = namesIn(directory);
    return std::any_of(disks.begin(), disks.end(), [&directory](const std::string& disk) {
        return readAttribute(directory + "/" + disk + "/size") == "0\n";
    });
}

void ScsiDevice::rescan() const
{
    writeAttribute(_directory + "/rescan", "1");
}

} // namespace scsi
