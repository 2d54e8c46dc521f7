#pragma once

#include "lab/target/LogicalUnit.h"

namespace lab {

struct CommandEntry {
    ScsiAnswer (*execute)(LogicalUnit& unit, const ScsiCommand& command);
    bool needsMedium;      ///< answered by 02/.. unless the medium is ready
    bool passesAttentions; ///< neither answered by a UNIT ATTENTION nor clearing it
};

/// How a unit executes the commands with this operation code; null: not at all.
const CommandEntry* commandEntry(uint8_t operationCode);

} // namespace lab
