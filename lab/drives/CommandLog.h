#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

/// A SCSI command that reached an emulated drive.
struct ArrivedCommand {
    std::string address;        ///< of the unit, "host:channel:target:unit"
    std::vector<uint8_t> bytes; ///< the command descriptor block
    std::string answer;         ///< "00" for GOOD, "02 6/28/00" for CHECK CONDITION and its sense, or "unanswered"
};

/// Which commands arrived at the drives, and what they answered, in order, from this object's making on; the disk
/// driver's own commands are among them.
class CommandLog {
public:
    CommandLog();

    /// The commands since the last call.
    std::vector<ArrivedCommand> take();

private:
    uint64_t _next;
};

} // namespace lab
