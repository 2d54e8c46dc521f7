#pragma once

#include <string>
#include <vector>

#include "lab/support/SystemCall.h"
#include "lab/target/ScsiCommand.h"

namespace lab {

/// What the kernel has for the drive: a command, or the wish that earlier ones end.
struct Arrival {
    bool isAbort = false;
    std::vector<uint16_t> numbers; ///< of the command, or of those to be ended
    ScsiCommand command;
};

/// The memory and the device file through which the kernel's target_core_user hands over a unit's commands. Commands
/// are completed in any order. For one thread.
class CommandRing {
public:
    /// @param name of the device in the class "uio", such as "uio0"; throws std::system_error
    explicit CommandRing(const std::string& name);
    CommandRing(const CommandRing&) = delete;
    CommandRing& operator=(const CommandRing&) = delete;
    ~CommandRing();

    /// The file that can be read when there may be something new.
    int descriptor() const { return _device.number(); }

    /// Notes that it could be read; false where the kernel has taken the device away.
    bool acknowledge() const;

    /// The next of what has come.
    std::optional<Arrival> next();

    /// Ends a command that came. @param sense the encoded sense data, for CHECK CONDITION
    void complete(uint16_t number, const ScsiAnswer& answer, const std::vector<uint8_t>& sense);

private:
    struct Header;

    template <typename Value>
    Value& at(size_t position) const;
    Header& headerAt(uint32_t position) const;
    uint32_t advanced(uint32_t position, const Header& header) const;
    Arrival commandAt(const Header& header) const;
    void passOver();

    Descriptor _device;
    size_t _size = 0;
    char* _memory = nullptr;
    uint32_t _start = 0;  ///< of the ring in the memory
    uint32_t _length = 0; ///< of the ring
    uint32_t _next = 0;   ///< the first entry that was not taken yet
};

} // namespace lab
