#pragma once

#include <string>
#include <utility>
#include <vector>

#include "lab/target/Medium.h"
#include "lab/target/Sense.h"

namespace lab {

// How values are written in "key=value,key=value". All throw std::invalid_argument for a text that is none.

/// The pairs in order; a key without a value has an empty one.
std::vector<std::pair<std::string, std::string>> toPairs(const std::string& text);

uint64_t toNumber(const std::string& text, int base = 10);

/// "yes" or nothing, or "no".
bool toSwitch(const std::string& text);

/// "FIRST", "FIRST+NUMBER" or "all".
BlockRange toRange(const std::string& text);

/// "KEY/CODE/QUALIFIER" in hexadecimal.
Sense toSense(const std::string& text);

} // namespace lab
