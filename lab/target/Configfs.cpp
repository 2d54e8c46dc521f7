#include "lab/target/Configfs.h"

#include <sys/mount.h>

#include <cerrno>
#include <filesystem>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "lab/drives/Sysfs.h"
#include "lab/support/SystemCall.h"
#include "platform/SystemFiles.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

const std::string configfs = "/sys/kernel/config";
const std::string target = configfs + "/target";
const std::string adapter = target + "/core/user_0";

// World wide names of a kind that nobody was given (IEEE registered, of an unused number).
std::string worldWideName(char kind, int number)
{
    std::ostringstream text;
    text << "naa.600140" << kind << std::hex << std::setfill('0') << std::setw(9) << number;
    return text.str();
}

// Making the first device asks for backends by their modules' names, which would be looked for in vain by four runs of
// modprobe.
void makeAdapter()
{
    const std::string helper = "/proc/sys/kernel/modprobe";
    const std::string program = readAttribute(helper);
    writeAttribute(helper, "\n");
    fs::create_directory(adapter);
    writeAttribute(helper, program);
}

void removeQuietly(const std::string& path)
{
    std::error_code ignored;
    fs::remove(path, ignored);
}

} // namespace

void prepareTarget()
{
    if (!fs::exists(target)) {
        checked(::mount("none", configfs.c_str(), "configfs", 0, nullptr), "mount configfs");
    }
    makeAdapter();
    fs::create_directories(target + "/loopback");
}

TargetDevice::TargetDevice(std::string name) : _name(std::move(name))
{
    fs::create_directory(path());
    writeAttribute(path() + "/control",
                   "dev_config=lab/" + _name + ",dev_size=1048576,cmd_ring_size_mb=1,max_data_area_mb=4");
    writeAttribute(path() + "/attrib/cmd_time_out", "0");
    writeAttribute(path() + "/attrib/tmr_notification", "1");
    writeAttribute(path() + "/attrib/emulate_pr", "0");
    writeAttribute(path() + "/enable", "1");
}

TargetDevice::~TargetDevice()
{
    removeQuietly(path());
}

std::string TargetDevice::path() const
{
    return adapter + "/" + _name;
}

std::string TargetDevice::uioName() const
{
    for (const std::string& uio : scsi::namesIn("/sys/class/uio")) {
        if (readAttribute("/sys/class/uio/" + uio + "/name") == "tcm-user/0/" + _name + "/lab/" + _name) {
            return uio;
        }
    }
    throw std::runtime_error("the kernel shows no device of " + _name);
}

TargetPort::TargetPort(int number)
    : _folder(target + "/loopback/" + worldWideName('5', number)), _group(_folder + "/tpgt_0")
{
    fs::create_directory(_folder);
    fs::create_directory(_group);
    writeAttribute(_group + "/nexus", worldWideName('6', number));
}

TargetPort::~TargetPort()
{
    try {
        writeAttribute(_group + "/nexus", "NULL");
    } catch (const std::system_error&) {
    }
    removeQuietly(_group);
    removeQuietly(_folder);
}

std::string TargetPort::address() const
{
    return readAttribute(_group + "/address");
}

std::string TargetPort::unitFolder(int unit) const
{
    return _group + "/lun/lun_" + std::to_string(unit);
}

void TargetPort::connect(int unit, const TargetDevice& device) const
{
    fs::create_directory(unitFolder(unit));
    fs::create_directory_symlink(device.path(), unitFolder(unit) + "/" + device.name());
}

void TargetPort::disconnect(int unit, const TargetDevice& device) const
{
    fs::remove(unitFolder(unit) + "/" + device.name());
    fs::remove(unitFolder(unit));
}

void TargetPort::setOnline(bool isOnline) const
{
    writeAttribute(_group + "/transport_status", isOnline ? "online" : "offline");
}

} // namespace lab
