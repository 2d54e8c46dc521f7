#include "tool/CommandLine.h"

#include <algorithm>

#include "tool/Failure.h"
#include "tool/Help.h"

namespace tool {

namespace {

class Parser {
public:
    explicit Parser(const std::vector<std::string>& words) : _words(words) {}

    CommandLine parse()
    {
        while (_next < _words.size())
            takeWord(_words[_next++]);
        if (!_line.help && !_line.version)
            takeOperands();
        return _line;
    }

private:
    [[noreturn]] void fail(const std::string& text) const
    {
        const std::string command = _line.command == nullptr ? "" : _line.command->name;
        throw Failure(statusWrongUse,
                      (command.empty() ? text + "; krmo" : command + ": " + text + "; krmo " + command) +
                          " --help tells more");
    }

    void requireName(const std::string& what, const std::string& value) const
    {
        if (value.empty())
            fail("an empty name for " + what);
    }

    void takeWord(const std::string& word)
    {
        if (!_optionsEnded && word == "--")
            _optionsEnded = true;
        else if (!_optionsEnded && word.size() > 1 && word.front() == '-')
            takeOption(word);
        else if (_line.command == nullptr)
            takeCommand(word);
        else
            _operands.push_back(word);
    }

    void takeCommand(const std::string& name)
    {
        const auto found = std::find_if(commands().begin(), commands().end(),
                                        [&name](const Command& command) { return command.name == name; });
        if (found == commands().end())
            throw Failure(statusWrongUse, (name.empty() ? "an empty name" : name) + " is no command; " + commandList());
        _line.command = &*found;
    }

    void takeOption(const std::string& word)
    {
        const std::size_t equals = word.find('=');
        const std::string name = word == "-h" ? "--help" : word.substr(0, equals);
        const auto option = std::find_if(options().begin(), options().end(),
                                         [&name](const Option& known) { return known.name == name; });
        if (option == options().end())
            fail("no option is called " + name);
        if (option->value == nullptr && equals != std::string::npos)
            fail(name + " takes no value");
        if (option->value != nullptr && isGiven(*option))
            fail(name + " is given twice");
        _given.push_back(&*option);
        option->store(_line, option->value == nullptr ? "" : valueOf(*option, word, equals));
    }

    std::string valueOf(const Option& option, const std::string& word, std::size_t equals)
    {
        if (equals == std::string::npos && _next == _words.size())
            fail(std::string(option.name) + " needs its " + option.value);
        std::string value = equals == std::string::npos ? _words[_next++] : word.substr(equals + 1);
        requireName(option.name, value);
        return value;
    }

    bool isGiven(const Option& option) const
    {
        return std::find(_given.begin(), _given.end(), &option) != _given.end();
    }

    void requireOptions() const
    {
        const Command& command = *_line.command;
        for (const Option& option : options()) {
            const auto isIn = [&option](const std::vector<std::string>& names) {
                return std::find(names.begin(), names.end(), option.name) != names.end();
            };
            if (isIn(command.required) && !isGiven(option))
                fail(std::string(option.name) + " is missing");
            if (isGiven(option) && !isCommon(option) && !isIn(command.required) && !isIn(command.options))
                fail(std::string(option.name) + " is none of its options");
        }
    }

    void takeOperands()
    {
        if (_line.command == nullptr)
            throw Failure(statusWrongUse, "a command is missing; " + commandList());
        requireOptions();
        auto next = _operands.cbegin();
        for (const Operand& operand : _line.command->operands) {
            if (next == _operands.end() && operand.count != Operand::atMostOnce)
                fail(std::string(operand.name) + " is missing");
            for (bool more = true; more && next != _operands.end(); more = operand.count == Operand::onceOrMore) {
                requireName(operand.name, *next);
                operand.store(_line.arguments, *next++);
            }
        }
        if (next != _operands.end())
            fail("'" + *next + "' is one argument too many");
    }

    const std::vector<std::string>& _words;
    std::size_t _next = 0;
    bool _optionsEnded = false;
    std::vector<std::string> _operands;
    std::vector<const Option*> _given;
    CommandLine _line;
};

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& words)
{
    return Parser(words).parse();
}

} // namespace tool
