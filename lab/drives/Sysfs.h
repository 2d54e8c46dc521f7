#pragma once

#include <string>
#include <vector>

namespace lab {

/// Writes a value to a file of the kernel's; throws std::system_error with the path and the kernel's refusal.
void writeAttribute(const std::string& path, const std::string& value);

/// The first line of a file of the kernel's; throws std::runtime_error where there is none.
std::string readAttribute(const std::string& path);

/// The SCSI addresses of the units that the system has, in order.
std::vector<std::string> unitAddresses();

/// The sysfs folder of the SCSI device with that address.
std::string unitFolder(const std::string& address);

/// The node in /dev of a unit's only child in that class ("block", "scsi_generic"); empty while there is none.
std::string unitNode(const std::string& address, const std::string& deviceClass);

} // namespace lab
