#pragma once

#include <string>
#include <vector>

#include "tool/Commands.h"

namespace tool {

struct CommandLine;

/// An option. It means the same with every command that takes it.
struct Option {
    const char* name;  ///< with its dashes
    const char* value; ///< what the help calls its value; null where it takes none
    const char* help;
    void (*store)(CommandLine& line, const std::string& value);
};

/// An argument that is known by its place.
struct Operand {
    enum Count {
        once,
        atMostOnce,
        onceOrMore
    }; ///< only the last operand of a command is anything but `once`

    const char* name;
    Count count;
    const char* help;
    void (*store)(Arguments& arguments, const std::string& value);
};

/// A command is an entry of the table and a function: the command line, the help, and the tests that hold the manual
/// page and the completion to it go by this.
struct Command {
    const char* name;
    const char* summary; ///< a sentence
    const char* details; ///< lines for the command's own help
    std::vector<Operand> operands;
    std::vector<std::string> required; ///< options that it can't do without
    std::vector<std::string> options;  ///< options that it takes besides, and besides the common ones
    const char* example;
    void (*run)(const Arguments& arguments, Output& output);
};

/// In the order in which the help lists them.
const std::vector<Command>& commands();

/// All options; those that every command takes are the last ones.
const std::vector<Option>& options();

/// Whether every command takes an option, and the command line without a command, too.
bool isCommon(const Option& option);

} // namespace tool
