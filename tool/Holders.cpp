#include "tool/Holders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "tool/Failure.h"
#include "tool/SystemDrives.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

bool leadsTo(const fs::path& link, const std::set<dev_t>& devices)
{
    struct statx file {};
    if (statx(AT_FDCWD, link.c_str(), AT_STATX_DONT_SYNC, STATX_TYPE, &file) == -1) // a server may be away
        return false;
    return devices.count(makedev(file.stx_dev_major, file.stx_dev_minor)) != 0 ||
           (S_ISBLK(file.stx_mode) && devices.count(makedev(file.stx_rdev_major, file.stx_rdev_minor)) != 0);
}

bool hasOpen(const fs::path& process, const std::set<dev_t>& devices)
{
    std::error_code error; // the process may end meanwhile
    for (fs::directory_iterator entry(process / "fd", error); entry != end(entry); entry.increment(error)) {
        if (leadsTo(entry->path(), devices))
            return true;
    }
    return leadsTo(process / "cwd", devices) || leadsTo(process / "root", devices) || leadsTo(process / "exe", devices);
}

/// The numbers of all processes but this one.
std::vector<std::string> otherProcesses()
{
    std::vector<std::string> numbers;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error); entry != end(entry); entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos && name != std::to_string(getpid()))
            numbers.push_back(name);
    }
    return numbers;
}

Descriptor tryExclusively(const std::string& node)
{
    return Descriptor(open(node.c_str(), O_RDONLY | O_EXCL | O_NONBLOCK | O_CLOEXEC));
}

fs::path nameSpaceOf(const std::string& process)
{
    std::error_code error;
    return fs::read_symlink("/proc/" + process + "/ns/mnt", error);
}

} // namespace

std::string processText(const std::string& process)
{
    std::string name;
    std::ifstream file("/proc/" + process + "/comm");
    std::getline(file, name);
    return "process " + process + (name.empty() ? "" : " (" + name + ")");
}

std::vector<ForeignMount> foreignMounts(const std::set<dev_t>& devices)
{
    std::vector<ForeignMount> found;
    std::set<fs::path> seen = {nameSpaceOf("self")};
    for (const std::string& process : otherProcesses()) {
        if (!seen.insert(nameSpaceOf(process)).second)
            continue;
        for (const Mount& mount : mountsOf(devices, process))
            found.push_back({mount, process});
    }
    return found;
}

std::string foreignText(const ForeignMount& foreign)
{
    return mountText(foreign.mount) + " in the mount name space of " + processText(foreign.process);
}

std::string holdersOf(const std::set<dev_t>& devices)
{
    std::string text;
    for (const std::string& process : otherProcesses()) {
        if (hasOpen("/proc/" + process, devices))
            text += "\n" + processText(process) + " has it open";
    }
    for (const ForeignMount& foreign : foreignMounts(devices))
        text += "\nmounted: " + foreignText(foreign);
    return text;
}

bool isInUse(const std::string& node)
{
    return !tryExclusively(node).isOpen() && errno == EBUSY;
}

Descriptor openExclusively(const std::string& node, const std::set<dev_t>& devices)
{
    Descriptor descriptor = tryExclusively(node);
    if (descriptor.isOpen())
        return descriptor;
    if (errno != EBUSY)
        throw systemFailure(node, errno);
    std::string text = node + " is in use";
    for (const Mount& mount : mountsOf(devices))
        text += "\nmounted: " + mountText(mount);
    throw Failure(statusDeviceFailed, text + holdersOf(devices) + devicesBuiltOn(node));
}

} // namespace tool
