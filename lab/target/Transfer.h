#pragma once

#include "lab/target/LogicalUnit.h"

namespace lab {

// READ and WRITE in all their lengths (6, 10, 12, 16). A medium error tells the block, and how much came before it.
ScsiAnswer read(LogicalUnit& unit, const ScsiCommand& command);
ScsiAnswer write(LogicalUnit& unit, const ScsiCommand& command);

} // namespace lab
