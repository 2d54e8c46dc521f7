#pragma once

#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/TransferRules.h"

namespace tool {

/// Finds out all that can be known before anything is written: what becomes of what is there already, whether there is
/// room, and whether the medium can store the names.
/// @throws Failure with all obstacles.
void prepareTransfer(std::vector<CopySource>& sources, Destination& destination, const TransferRules& rules);

} // namespace tool
