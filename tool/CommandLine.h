#pragma once

#include <string>
#include <vector>

#include "tool/CommandTable.h"

namespace tool {

/// What was asked for.
struct CommandLine {
    const Command* command = nullptr; ///< null without one, which is good for help and version alone
    Arguments arguments;
    OutputOptions output;
    std::string log; ///< empty: none
    bool verbose = false;
    bool help = false;
    bool version = false;
};

/// Options may stand anywhere, before the command as well; what follows "--" is no option. Names are taken byte by
/// byte as they are, which parsers made for configuration values do not promise: brackets, braces and commas mean
/// nothing here, and no option can be shortened, so that a new one never changes what a script says.
///
/// @param words the arguments without the program's name.
/// @throws Failure (wrong use), where help was not asked for, unless all that the command needs is there, and where
///         anything is unknown, empty, or a value given twice.
CommandLine parseCommandLine(const std::vector<std::string>& words);

} // namespace tool
