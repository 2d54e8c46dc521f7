#include "lab/drives/EmulatedDrives.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

#include "lab/drives/Command.h"
#include "lab/drives/Media.h"
#include "lab/drives/Sysfs.h"
#include "lab/drives/Waiting.h"

namespace lab {

namespace {

const std::string driverFolder = "/sys/bus/pseudo/drivers/scsi_debug/";
const std::string parameterFolder = "/sys/module/scsi_debug/parameters/";

constexpr int inquiryTypeDisk = 0;
constexpr int inquiryTypeOptical = 7;

// Some parameters can be read and set in one of the folders only.
std::string parameterPath(const std::string& name)
{
    const std::string path = driverFolder + name;
    return std::filesystem::exists(path) ? path : parameterFolder + name;
}

int numberOf(const std::string& parameterName)
{
    return std::stoi(readAttribute(parameterPath(parameterName)));
}

bool isLoaded()
{
    return std::filesystem::exists(driverFolder);
}

using Parameters = std::map<std::string, std::string>;

// What the emulation is told once for all drives.
Parameters sharedParameters(const DriveDescription& description)
{
    return {{"dev_size_mb", std::to_string(description.megabytes)},
            {"sector_size", std::to_string(description.sectorSize)},
            {"tur_ms_to_ready", std::to_string(description.spinUpMilliseconds)},
            {"wp", std::to_string(static_cast<int>(description.writeProtected))},
            {"dsense", std::to_string(static_cast<int>(description.descriptorSense))}};
}

Parameters loadedParameters()
{
    Parameters parameters = sharedParameters({});
    for (auto& [name, value] : parameters) {
        value = readAttribute(parameterPath(name));
    }
    return parameters;
}

// Every drive gets memory of its own, or all would show the same medium; answers come at once.
void loadModule(const Parameters& parameters)
{
    std::vector<std::string> command{"modprobe",    "scsi_debug", "add_host=0",
                                     "removable=1", "delay=0",    "per_host_store=1"};
    for (const auto& [name, value] : parameters) {
        command.push_back(name + "=" + value);
    }
    runCommand(command);
}

void loadModuleFor(const DriveDescription& description)
{
    const Parameters parameters = sharedParameters(description);
    if (loadedParameters() == parameters) {
        return;
    }
    if (numberOf("add_host") != 0) {
        throw std::runtime_error("drives with another size, sector size, spin-up, write protection or sense format are "
                                 "there; the emulation has one for all");
    }
    runCommand({"rmmod", "scsi_debug"});
    loadModule(parameters);
}

std::set<std::string> hosts()
{
    std::set<std::string> numbers;
    const std::string start = "host";
    for (const std::string& name : namesIn("/sys/class/scsi_host")) {
        numbers.insert(name.substr(start.size()));
    }
    return numbers;
}

// The driver makes the host at once, before the write that asks for it returns.
std::string addHost()
{
    const std::set<std::string> before = hosts();
    writeAttribute(driverFolder + "add_host", "1");
    for (const std::string& host : hosts()) {
        if (before.count(host) == 0) {
            return host;
        }
    }
    throw std::runtime_error("the emulation added no drive");
}

std::string scanFile(const EmulatedDrive& drive)
{
    return "/sys/class/scsi_host/host" + drive.address.substr(0, drive.address.find(':')) + "/scan";
}

// Channel, target and unit, as a host takes them.
std::string placeOf(const EmulatedDrive& drive)
{
    std::string place = drive.address.substr(drive.address.find(':') + 1);
    std::replace(place.begin(), place.end(), ':', ' ');
    return place;
}

EmulatedDrive unitAt(const std::string& address)
{
    const bool isDisk = readAttribute(unitFolder(address) + "/type") == std::to_string(inquiryTypeDisk);
    return {isDisk ? DriveType::disk : DriveType::magnetoOptical, address, unitNode(address, "block"),
            unitNode(address, "scsi_generic")};
}

// The nodes come one by one, each by a driver that looks at the unit in its own time.
EmulatedDrive completeUnitAt(const std::string& address)
{
    waitUntil("the unit " + address + " has its nodes", [&address] {
        const std::string block = unitNode(address, "block");
        const std::string generic = unitNode(address, "scsi_generic");
        return !block.empty() && !generic.empty() && std::filesystem::exists(block) && std::filesystem::exists(generic);
    });
    return unitAt(address);
}

} // namespace

std::string EmulatedDrive::partitionNode(int number) const
{
    return blockNode + std::to_string(number);
}

EmulatedDrives::EmulatedDrives()
{
    if (!isLoaded()) {
        loadModule(sharedParameters({}));
    }
}

EmulatedDrive EmulatedDrives::add(const DriveDescription& description)
{
    loadModuleFor(description);
    setParameter("wp", "0"); // until it is formatted
    answerInquiriesAs(description.type);
    setParameter("max_luns", std::to_string(description.logicalUnits));
    const std::string host = addHost();
    waitUntil("host " + host + " has its units", [&host, &description] {
        return unitAddresses(host).size() == static_cast<size_t>(description.logicalUnits);
    });
    std::vector<EmulatedDrive> units;
    for (const std::string& address : unitAddresses(host)) {
        units.push_back(completeUnitAt(address));
    }
    prepareMedium(units.front().blockNode, description);
    for (size_t unit = 1; unit < units.size(); ++unit) { // which looked at the medium before it had partitions
        runCommand({"blockdev", "--rereadpt", units[unit].blockNode});
    }
    if (description.writeProtected) {
        setWriteProtected(true);
    }
    return units.front();
}

std::vector<EmulatedDrive> EmulatedDrives::list() const
{
    std::vector<EmulatedDrive> drives;
    for (const std::string& address : unitAddresses()) {
        drives.push_back(unitAt(address));
    }
    return drives;
}

// The module keeps the media of removed drives for those to come; only unloading it forgets them.
void EmulatedDrives::removeAll()
{
    const Parameters parameters = loadedParameters();
    writeAttribute(driverFolder + "add_host", std::to_string(-numberOf("add_host")));
    runCommand({"rmmod", "scsi_debug"});
    loadModule(parameters);
}

void EmulatedDrives::unplug(const EmulatedDrive& drive)
{
    writeAttribute(unitFolder(drive.address) + "/delete", "1");
    waitUntil(drive.address + " is gone", [&drive] {
        return !std::filesystem::exists(unitFolder(drive.address)) && !std::filesystem::exists(drive.blockNode);
    });
}

EmulatedDrive EmulatedDrives::plugIn(const EmulatedDrive& drive)
{
    answerInquiriesAs(drive.type);
    writeAttribute(scanFile(drive), placeOf(drive));
    return completeUnitAt(drive.address);
}

EmulatedDrive EmulatedDrives::present(const EmulatedDrive& drive)
{
    const std::vector<std::string> addresses = unitAddresses();
    const bool isThere = std::find(addresses.begin(), addresses.end(), drive.address) != addresses.end();
    return isThere ? completeUnitAt(drive.address) : plugIn(drive);
}

std::string EmulatedDrives::plugInCommand(const EmulatedDrive& drive, const std::string& node)
{
    return "echo " + placeOf(drive) + " >" + scanFile(drive) + "; until [ -b " + node + " ]; do sleep 0.01; done";
}

void EmulatedDrives::setWriteProtected(bool isProtected)
{
    setParameter("wp", isProtected ? "1" : "0");
    for (const EmulatedDrive& drive : list()) {
        answerInquiriesAs(drive.type);
        writeAttribute(unitFolder(drive.address) + "/rescan", "1");
    }
}

void EmulatedDrives::setDescriptorSense(bool isDescriptor)
{
    setParameter("dsense", isDescriptor ? "1" : "0");
}

void EmulatedDrives::setCommandLog(bool isLogging)
{
    setParameter("opts", isLogging ? "1" : "0");
}

void EmulatedDrives::answerInquiriesAs(DriveType type)
{
    setParameter("ptype", std::to_string(type == DriveType::disk ? inquiryTypeDisk : inquiryTypeOptical));
}

void EmulatedDrives::setParameter(const std::string& name, const std::string& value)
{
    writeAttribute(parameterPath(name), value);
}

std::string EmulatedDrives::parameter(const std::string& name) const
{
    return readAttribute(parameterPath(name));
}

} // namespace lab
