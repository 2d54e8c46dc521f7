#pragma once

#include <string>

/// Internal: the leaf of the directories on which the library mounts: it marks a mount as one of ours.
constexpr const char* mountLeaf = "KRMT";

/// Internal: takes the first partition of a disk from the inventory, as it stands, and tells the log which it is or
/// that there is none.
/// @param failureLevel of the line that there is none.
bool findFirstPartition(const std::string& diskName, int failureLevel, std::string& partName);
