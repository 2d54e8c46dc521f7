#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace lab {

// How drives, media and faults are written: "key=value,key=value". All throw std::invalid_argument for a text that is
// none.

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// The pairs in order; a key without a value has "yes".
Pairs toPairs(const std::string& text);

/// Removes a key from the pairs and returns its value, the last where there are several, or what stands for it.
std::string take(Pairs& pairs, const std::string& key, std::string otherwise);

std::vector<std::string> splitAt(char separator, const std::string& text);

uint64_t toNumber(const std::string& text, int base = 10);

/// "yes" or "no".
bool toSwitch(const std::string& text);

} // namespace lab
