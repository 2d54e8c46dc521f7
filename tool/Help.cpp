#include "tool/Help.h"

#include <algorithm>

namespace tool {

namespace {

using Row = std::pair<std::string, std::string>;

/// A heading and, under it, names with what they mean; nothing where there are none.
std::string section(const std::string& heading, const std::vector<Row>& rows)
{
    std::size_t width = 0;
    for (const Row& row : rows)
        width = std::max(width, row.first.size());
    std::string text = rows.empty() ? "" : "\n" + heading + ":\n";
    for (const Row& row : rows)
        text += "  " + row.first + std::string(width - row.first.size() + 2, ' ') + row.second + "\n";
    return text;
}

std::string nameAndValue(const Option& option)
{
    return option.name + (option.value == nullptr ? std::string() : std::string(" ") + option.value);
}

const Option& optionCalled(const std::string& name)
{
    return *std::find_if(options().begin(), options().end(),
                         [&name](const Option& option) { return option.name == name; });
}

std::vector<Row> commonOptions()
{
    std::vector<Row> rows;
    for (const Option& option : options()) {
        if (isCommon(option))
            rows.emplace_back(nameAndValue(option), option.help);
    }
    return rows;
}

std::vector<Row> optionsOf(const Command& command)
{
    std::vector<Row> rows;
    for (const std::vector<std::string>& names : {command.required, command.options}) {
        for (const std::string& name : names)
            rows.emplace_back(nameAndValue(optionCalled(name)), optionCalled(name).help);
    }
    return rows;
}

std::string usage(const Command& command)
{
    std::string text = std::string("krmo ") + command.name;
    for (const std::string& name : command.required)
        text += " " + nameAndValue(optionCalled(name));
    for (const std::string& name : command.options)
        text += " [" + nameAndValue(optionCalled(name)) + "]";
    for (const Operand& operand : command.operands) {
        const std::string name = operand.name;
        text += operand.count == Operand::atMostOnce ? " [" + name + "]" : " " + name;
        text += operand.count == Operand::onceOrMore ? "..." : "";
    }
    return text;
}

} // namespace

std::string helpText()
{
    std::vector<Row> rows;
    for (const Command& command : commands())
        rows.emplace_back(command.name, command.summary);
    return "Drives removable SCSI disk media: magneto-optical disks and hard disks with FAT32.\n"
           "\n"
           "Usage: krmo COMMAND [OPTION]... [ARGUMENT]...; krmo COMMAND --help tells which.\n" +
           section("Commands", rows) + section("Options of every command", commonOptions()) +
           "\n"
           "Exit status: 0 done; 1 the drive, the medium or the output failed, or something is in use; 2 what was\n"
           "asked for can't be done as it was asked for; 3 something is not there or not permitted; 130 interrupted.\n"
           "\n"
           "Example: krmo put /dev/sg1 /var/backup --to today && krmo unload /dev/sg1";
}

std::string helpText(const Command& command)
{
    std::vector<Row> operands;
    for (const Operand& operand : command.operands)
        operands.emplace_back(operand.name, operand.help);
    return std::string(command.summary) + "\n" + command.details + "\n\nUsage: " + usage(command) + "\n" +
           section("Arguments", operands) + section("Options", optionsOf(command)) +
           section("Options of every command", commonOptions()) + "\nExample: " + command.example;
}

std::string commandList()
{
    std::string text;
    for (const Command& command : commands())
        text += std::string(text.empty() ? "the commands are " : ", ") + command.name;
    return text;
}

std::string versionText()
{
    return "krmo " KRMO_VERSION;
}

} // namespace tool
