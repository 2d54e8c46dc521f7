#include "tool/Drive.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "platform/KrException.h"
#include "platform/UXScsi.h"
#include "tool/DriveName.h"
#include "tool/Failure.h"
#include "tool/Holders.h"
#include "tool/Interrupts.h"
#include "tool/SystemDrives.h"
#include "unix/KRUnixMODiskImpl.h"

namespace tool {

namespace {

constexpr int commandSeconds = 60;

/// The path of the one drive with that serial number; empty without one.
std::string pathOfSerialNumber(const std::string& serial, bool fixed)
{
    std::string path;
    for (const SystemDrive& drive : systemDrives(fixed)) {
        stopIfInterrupted();
        if (serial != (drive.serial.empty() ? inquiredSerialNumber(drive.path) : drive.serial))
            continue;
        if (!path.empty())
            throw Failure(statusWrongUse, path + " and " + drive.path + " have the serial number " + serial);
        path = drive.path;
    }
    return path;
}

bool isOnPath(const std::string& program)
{
    std::istringstream folders(std::getenv("PATH"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

void requireRights()
{
    if (geteuid() != 0)
        throw Failure(statusNotThere, "needs root");
    if (access("/sbin/fdisk", X_OK) == -1)
        throw Failure(statusNotThere, "/sbin/fdisk is missing");
    for (const char* const program : {"parted", "mount", "umount"}) {
        if (!isOnPath(program))
            throw Failure(statusNotThere, std::string("the program ") + program + " is missing");
    }
}

bool setRecordLock(int descriptor, short type)
{
    struct flock record {};
    record.l_type = type;
    record.l_whence = SEEK_SET;
    return fcntl(descriptor, F_SETLK, &record) == 0;
}

void lock(const Drive& drive)
{
    if (setRecordLock(drive.descriptor, F_WRLCK))
        return;
    const int error = errno;
    if (error == EBADF && setRecordLock(drive.descriptor, F_RDLCK)) // a descriptor that is open for reading alone
        return;
    struct flock record {};
    record.l_type = F_WRLCK;
    record.l_whence = SEEK_SET;
    if (fcntl(drive.descriptor, F_GETLK, &record) == -1 || record.l_type == F_UNLCK)
        throw systemFailure("lock of " + drive.name, error);
    throw Failure(statusDeviceFailed, drive.name + " is in use by " + processText(std::to_string(record.l_pid)));
}

} // namespace

Drive findDrive(const std::string& name, bool fixed)
{
    UXScsiTarget target(name.c_str(), false);
    if (UXScsi::open(target, commandSeconds) == -1) {
        const int error = errno;
        const bool mayBeSerial = name.find('/') == std::string::npos && (error == ENOENT || error == ENODEV);
        const std::string path = mayBeSerial ? pathOfSerialNumber(name, fixed) : std::string();
        if (path.empty())
            throw unknownDrive(name, error);
        return findDrive(path, fixed);
    }
    Drive drive{name, target.getNativePath(), target.getFD()};
    if (!fixed && isFixed(drive.node))
        throw Failure(statusWrongUse, name + " is a fixed disk; --fixed uses it all the same");
    if (!deviceNumbers(drive.node).empty())
        return drive;
    const MediumState state = mediumState(name);
    throw Failure(statusNotThere, state.ready.value_or(true)
                                      ? name + " has no block node: it is no disk, or its driver is missing"
                                      : name + " has no block node yet: " + state.text);
}

Drive reserveDrive(const std::string& name, bool fixed)
{
    Drive drive = findDrive(name, fixed);
    requireRights();
    lock(drive);
    return drive;
}

void requirePresent(const Drive& drive)
{
    UXScsiTarget target(drive.name.c_str(), false);
    if (UXScsi::open(target, commandSeconds) == -1)
        throw systemFailure("the drive is gone: " + drive.name, errno);
    if (target.getNativePath() != drive.node)
        throw Failure(statusNotThere, "the drive was " + drive.node + " and is " + target.getNativePath() + " now");
}

MediumState mediumState(const std::string& drive)
{
    constexpr unsigned char mediumNotPresent = 0x3a;
    const unsigned char testUnitReady[6] = {};
    unsigned char sense[28] = {};
    try {
        const UXScsi::Device device(UXScsiTarget(drive.c_str(), false));
        const int status = UXScsi::send(device.target(), testUnitReady, sizeof testUnitReady, nullptr, 0, false, true,
                                        sense, sizeof sense, -1);
        if (status == 0)
            return {true, false, "ready"};
        if (sense[2] == 0)
            return {false, false, "the command failed with status " + std::to_string(status)};
        return {false, sense[12] == mediumNotPresent, UXScsiSense::toText(sense[2], sense[12], sense[13], false)};
    } catch (const KrException& exception) {
        return {std::nullopt, false, exception.formatError()};
    }
}

std::string inquiredSerialNumber(const std::string& drive)
{
    std::string serial;
    try {
        KRUnixMODiskImpl(drive, "", 0, 0, true).GetDeviceSerialNumber(serial);
    } catch (const KrException&) {
        return {}; // not permitted, or gone since it was listed
    }
    return serial;
}

} // namespace tool
