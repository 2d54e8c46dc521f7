#include "tool/Mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tool/Failure.h"

namespace tool {

namespace {

/// The table writes blanks and backslashes as three octal digits.
std::string unescaped(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 3 < text.size();
        result += escape ? static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8)) : text[i];
        i += escape ? 3 : 0;
    }
    return result;
}

/// proc(5): number, parent, device, root, directory, options, fields of any number, "-", type, source, options.
Mount readMount(const std::string& line)
{
    std::istringstream words(line);
    std::string skipped;
    std::string device;
    Mount mount{};
    words >> skipped >> skipped >> device >> skipped >> mount.directory >> mount.mountOptions;
    while (words >> skipped && skipped != "-")
        mount.received = mount.received || skipped.rfind("master:", 0) == 0;
    words >> skipped >> mount.source >> mount.options;
    unsigned int majorNumber = 0;
    unsigned int minorNumber = 0;
    std::sscanf(device.c_str(), "%u:%u", &majorNumber, &minorNumber);
    mount.device = makedev(majorNumber, minorNumber);
    mount.directory = unescaped(mount.directory);
    return mount;
}

} // namespace

std::vector<Mount> mountTable(const std::string& process)
{
    std::vector<Mount> mounts;
    std::ifstream table("/proc/" + process + "/mountinfo");
    for (std::string line; std::getline(table, line);)
        mounts.push_back(readMount(line));
    return mounts;
}

std::vector<Mount> mountsOf(const std::set<dev_t>& devices, const std::string& process)
{
    std::vector<Mount> found;
    const std::vector<Mount> all = mountTable(process);
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&devices](const Mount& mount) { return devices.count(mount.device) != 0; });
    return found;
}

bool hasOption(const std::string& options, const std::string& option)
{
    return ("," + options + ",").find("," + option + ",") != std::string::npos;
}

// A name space that is only unshared still gives what is mounted in it to others, where "/" is shared.
void takeOwnMounts()
{
    if (unshare(CLONE_NEWNS) == -1 || mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) == -1)
        throw systemFailure("mounts of its own", errno);
}

std::string mountText(const Mount& mount)
{
    return mount.source + " on " + mount.directory;
}

} // namespace tool
