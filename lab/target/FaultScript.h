#pragma once

#include <deque>
#include <string>

#include "lab/target/ScsiCommand.h"

namespace lab {

/// Answers that stand by for commands to come, each for a number of commands of a kind. The first that is for a
/// command is taken.
class FaultScript {
public:
    enum class Outcome {
        answered, ///< not executed, and answered as the script says
        executed, ///< executed, and answered as the script says
        withheld, ///< neither
    };

    struct Step {
        std::string command; ///< hexadecimal beginning of the commands; ".." is any byte, and nothing any command
        uint64_t times = 1;
        Outcome outcome = Outcome::answered;
        uint8_t status = scsiStatus::good;
        std::optional<Sense> sense; ///< for CHECK CONDITION
    };

    /// Adds a step: "command=1b......02,times=3,sense=5/53/02", or in the place of `sense`: "status=08", "unanswered",
    /// or "pass", which leaves the command to the drive. "times=all" is for ever; "executed" besides has the command
    /// executed all the same. Throws std::invalid_argument.
    void add(const std::string& text);

    /// The step that is for this command, which is thereby used once.
    std::optional<Step> take(const CommandBytes& bytes);

    void clear() { _steps.clear(); }

private:
    std::deque<Step> _steps;
};

} // namespace lab
