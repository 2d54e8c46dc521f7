#pragma once

#include <string>

#include "tool/CommandTable.h"

namespace tool {

/// What `krmo --help` shows.
std::string helpText();

/// What `krmo COMMAND --help` shows.
std::string helpText(const Command& command);

/// "the commands are drives, info, ...", for who named none.
std::string commandList();

/// "krmo 1.0.0".
std::string versionText();

} // namespace tool
