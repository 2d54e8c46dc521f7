#pragma once

#include <deque>
#include <mutex>
#include <string>

#include "lab/target/ScsiCommand.h"

namespace lab {

/// The commands that all drives got and what they answered, in order; for several threads. The oldest of a great many
/// are forgotten.
class CommandRecords {
public:
    void add(const std::string& address, const CommandBytes& bytes, const ScsiAnswer& answer);

    /// The number of the record to come.
    uint64_t next();

    /// A line each, from the record of that number on: its number, the unit's address, the command in hexadecimal, and
    /// "00", "02 6/28/00" or "unanswered". Throws std::runtime_error where some of them are forgotten.
    std::string since(uint64_t number);

private:
    std::mutex _mutex;
    std::deque<std::string> _lines;
    uint64_t _forgotten = 0;
};

} // namespace lab
