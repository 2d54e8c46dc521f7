#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/support/SystemCall.h"

namespace lab {

/// A SCSI command that reached an emulated drive.
struct ArrivedCommand {
    std::string address;        ///< of the unit, "host:channel:target:unit"
    std::vector<uint8_t> bytes; ///< the command descriptor block
};

/// Reads from the kernel's log which commands arrived, in order, from this object's making on. The log must have
/// been switched on (EmulatedDrives::setCommandLog); the disk driver's own commands are among them.
class CommandLog {
public:
    CommandLog();

    /// The commands since the last call.
    std::vector<ArrivedCommand> take();

private:
    Descriptor _log;
};

} // namespace lab
