#pragma once

#include <optional>
#include <string>

namespace tool {

/// A drive that was named on the command line, found and open.
struct Drive {
    std::string name; ///< what the library is given
    std::string node; ///< its block node
    int descriptor;   ///< the process's one descriptor of the drive, which the library's volume has, too
};

/// Finds and opens a drive. Nothing waits: the library would, for 1000 seconds, where this fails.
///
/// @param name what the SCSI layer takes, or a serial number.
/// @param fixed whether it may be a fixed disk.
/// @throws Failure: no such drive, no SCSI device, no disk, a fixed one, or it may not be opened.
Drive findDrive(const std::string& name, bool fixed);

/// Finds a drive and makes sure of what its use needs beyond it: the programs that the library runs, the right to
/// mount, and the record lock that a backend's `LockVolume` takes, tried without waiting and held to the end.
/// @throws Failure naming what is missing, or the process that has the lock.
Drive reserveDrive(const std::string& name, bool fixed);

/// @throws Failure when the drive is not the one any more that was found. Asked before the library opens it again.
void requirePresent(const Drive& drive);

/// What the drive answers to TEST UNIT READY.
struct MediumState {
    std::optional<bool> ready; ///< nothing where it can't be asked
    bool absent;               ///< it says that it has no medium
    std::string text;          ///< "ready", or why not
};

MediumState mediumState(const std::string& drive);

/// The serial number by INQUIRY; empty where the drive does not tell it or can't be asked.
std::string inquiredSerialNumber(const std::string& drive);

} // namespace tool
