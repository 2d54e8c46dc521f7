#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// The command line of the lab. The launcher and the init read the same one, each what concerns it.
struct LabOptions {
    std::vector<DriveDescription> drives;
    EmulationSettings emulation;
    bool writeProtected = false;
    bool descriptorSense = false;
    bool logCommands = false;
    std::string results;     ///< the one folder of the host that can be written, absolute; empty: none
    int memoryMegabytes = 0; ///< of the kernel; 0 on the command line: what it needs for the drives
    int timeoutSeconds = 0;  ///< bound for boot and program; 0: none but the boot's own
    int bootSeconds = 60;
    bool shortSleeps = false;
    bool scriptedAnswers = false;
    bool verbose = false;
    bool help = false;
    std::vector<std::string> program; ///< name and arguments
};

/// The command line can't be obeyed; the text says what is wrong with it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @param arguments without the launcher's own name
/// @throws UsageError
LabOptions parseOptions(const std::vector<std::string>& arguments);

/// What `--help` prints.
std::string usageText();

} // namespace lab
