#pragma once

#include <string>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Problems.h"

namespace tool {

/// The SOURCEs of a command line. Each path is resolved by the kernel up to its last name, once.
std::vector<CopySource> planSources(const std::vector<std::string>& paths, Problems& problems);

} // namespace tool
