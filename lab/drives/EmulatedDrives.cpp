#include "lab/drives/EmulatedDrives.h"

#include <filesystem>

#include "lab/drives/DriveRequest.h"
#include "lab/drives/Media.h"
#include "lab/drives/Sysfs.h"
#include "lab/drives/Waiting.h"

namespace lab {

namespace {

EmulatedDrive unitAt(const std::string& address)
{
    return {address, unitNode(address, "block"), unitNode(address, "scsi_generic")};
}

// The disk driver looks at a unit in its own time, reads its partition table last, and holds the unit meanwhile.
// Whoever binds it to the driver waits for that, and is then told that it is bound already.
EmulatedDrive completeUnitAt(const std::string& address)
{
    try {
        writeAttribute("/sys/bus/scsi/drivers/sd/bind", address);
    } catch (const std::system_error&) {
    }
    waitForFile(unitNode(address, "block"));
    return unitAt(address);
}

std::string ask(const std::string& verb, const EmulatedDrive& drive, const std::string& argument = {})
{
    return requestOfDrives(verb + " " + drive.address + " " + argument);
}

} // namespace

std::string EmulatedDrive::partitionNode(int number) const
{
    return blockNode + std::to_string(number);
}

EmulatedDrive EmulatedDrives::add(const DriveDescription& description)
{
    std::string request =
        std::string("add type=") + (description.type == DriveType::disk ? "disk" : "mo") + description.driveSettings;
    for (int unit = 0; unit < description.logicalUnits; ++unit) {
        request += " " + (description.isEmpty ? "empty" : makeMedium(description));
    }
    const std::string address = requestOfDrives(request) + ":";
    for (int unit = 1; unit < description.logicalUnits; ++unit) {
        completeUnitAt(address + std::to_string(unit));
    }
    return completeUnitAt(address + "0");
}

std::vector<EmulatedDrive> EmulatedDrives::list() const
{
    std::vector<EmulatedDrive> drives;
    for (const std::string& address : unitAddresses()) {
        drives.push_back(unitAt(address));
    }
    return drives;
}

void EmulatedDrives::removeAll()
{
    requestOfDrives("remove-all");
    forgetMedia();
}

void EmulatedDrives::unplug(const EmulatedDrive& drive)
{
    ask("unplug", drive);
    waitUntil(drive.address + " is gone", [&drive] {
        return !std::filesystem::exists(unitFolder(drive.address)) && !std::filesystem::exists(drive.blockNode);
    });
}

EmulatedDrive EmulatedDrives::plugIn(const EmulatedDrive& drive)
{
    ask("plug-in", drive);
    return completeUnitAt(drive.address);
}

std::string EmulatedDrives::plugInCommand(const EmulatedDrive& drive, const std::string& node)
{
    // By its path: krmo looks for programs in the system's folders alone.
    return "/usr/local/bin/lab-drive plug-in " + drive.address + " && until [ -b " + node + " ]; do sleep 0.01; done";
}

void EmulatedDrives::pressButton(const EmulatedDrive& drive)
{
    ask("press-button", drive);
}

void EmulatedDrives::forceOpen(const EmulatedDrive& drive)
{
    ask("force-open", drive);
}

std::string EmulatedDrives::takeOut(const EmulatedDrive& drive)
{
    return ask("take-out", drive);
}

void EmulatedDrives::insert(const EmulatedDrive& drive, const std::string& medium)
{
    ask("insert", drive, medium);
}

void EmulatedDrives::set(const EmulatedDrive& drive, const std::string& settings)
{
    ask("set", drive, settings);
}

void EmulatedDrives::answer(const EmulatedDrive& drive, const std::string& answer)
{
    ask("answer", drive, answer);
}

void EmulatedDrives::heal(const EmulatedDrive& drive)
{
    ask("heal", drive);
}

std::string EmulatedDrives::state(const EmulatedDrive& drive) const
{
    return ask("state", drive);
}

void EmulatedDrives::setWriteProtected(const EmulatedDrive& drive, bool isProtected)
{
    set(drive, std::string("write-protect=") + (isProtected ? "yes" : "no"));
    writeAttribute(unitFolder(drive.address) + "/rescan", "1");
}

} // namespace lab
