#pragma once

#include <string>

#include "tool/Folder.h"

namespace tool {

/// The temporary folder has one of these names in a medium's root: the first, unless one that was left with it can't be
/// removed.
constexpr int mostStagingNames = 10;
std::string stagingName(int number);

/// The name of one in a folder of the machine, where others may write: they must not guess it.
std::string uniqueStagingName();

/// Whether a name in a medium's root is one of these.
bool isStagingName(const std::string& name);

/// Whether a name in a medium's root leads to a temporary folder, by FAT's short names as well.
bool leadsToStaging(const Folder& root, const std::string& name);

} // namespace tool
