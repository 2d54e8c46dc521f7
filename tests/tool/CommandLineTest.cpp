// What is said and answered before any drive is looked at: the command line, its table, and the standard streams.

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "tool/CommandLine.h"
#include "tool/Help.h"

namespace {

struct Result {
    int status;
    std::string said;
};

/// Runs a line of the shell in an empty folder of its own, where `krmo` is the tool.
Result runLine(const std::string& line)
{
    const std::string preparation =
        R"sh(cd "$(mktemp -d)" && trap 'rm -r "$PWD"' EXIT; exec 2>&1; krmo() { ")sh" KRMO_TOOL R"sh(" "$@"; }; )sh";
    std::FILE* const pipe = popen((preparation + line).c_str(), "r");
    std::string said;
    for (int character = std::getc(pipe); character != EOF; character = std::getc(pipe))
        said += static_cast<char>(character);
    return {WEXITSTATUS(pclose(pipe)), said};
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(KRMO_SOURCE "/" + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// From a heading or name up to the next one.
std::string part(const std::string& text, const std::string& start, const std::string& end)
{
    const std::size_t first = text.find(start);
    return first == std::string::npos ? "" : text.substr(first, text.find(end, first + start.size()) - first);
}

} // namespace

TEST(CommandLineTest, EachMistakeHasItsTextAndStatus)
{
    const struct {
        const char* line;
        int status;
        const char* said; ///< all of it, by a regular expression
    } cases[] = {
        {"krmo", 2, "krmo: a command is missing; the commands are drives, info, .*, put, get\n"},
        {"krmo foo", 2, "krmo: foo is no command; the commands are drives, info, .*, put, get\n"},
        {"krmo ''", 2, "krmo: an empty name is no command; .*\n"},
        {"krmo --version", 0, "krmo [0-9]+\\.[0-9]+\\.[0-9]+\n"},
        {"krmo put --help", 0, "Copies [^]*Usage: krmo put \\[--to FOLDER\\][^]* DRIVE SOURCE\\.\\.\\.\n[^]*"},
        {"krmo info ''", 2, "krmo: info: an empty name for DRIVE; krmo info --help tells more\n"},
        {"krmo put x ''", 2, "krmo: put: an empty name for SOURCE; .*\n"},
        {"krmo put x y --to ''", 2, "krmo: put: an empty name for --to; .*\n"},
        {"krmo drives --log=", 2, "krmo: drives: an empty name for --log; .*\n"},
        {"krmo --log a drives --log b", 2, "krmo: drives: --log is given twice; .*\n"},
        {"krmo drives --log", 2, "krmo: drives: --log needs its FILE; .*\n"},
        {"krmo get x y", 2, "krmo: get: --to is missing; .*\n"},
        {"krmo put x", 2, "krmo: put: SOURCE is missing; .*\n"},
        {"krmo info x y", 2, "krmo: info: 'y' is one argument too many; .*\n"},
        {"krmo info x --force", 2, "krmo: info: --force is none of its options; .*\n"},
        {"krmo info x --json=1", 2, "krmo: info: --json takes no value; .*\n"},
        {"krmo drives --js", 2, "krmo: drives: no option is called --js; .*\n"},
        {"krmo info no-such-number", 3, "krmo: info: no drive has the serial number no-such-number\n"},
        {"krmo info 999:0:0:0", 3, "krmo: info: 999:0:0:0: No such device\n"},
        {"krmo info /dev/nothing", 3, "krmo: info: /dev/nothing: No such file or directory\n"},
        {"krmo drives >&-", 1, "krmo: drives: standard output is closed\n"},
        {"krmo --help >&-", 1, "krmo: standard output is closed\n"},
        {"krmo --version >/dev/full", 1, "krmo: standard output: No space left on device\n"},
        {"mkfifo f; exec 3<>f 4>f 3<&-; krmo drives --json >&4", 1, ""},
        {"mkfifo f; krmo drives --log f", 3, "krmo: drives: nobody reads the log f, which is a FIFO or a socket\n"},
        {"krmo drives --log no/f", 3, "krmo: drives: the log no/f: No such file or directory\n"},
    };
    for (const auto& one : cases) {
        const Result result = runLine(one.line);
        EXPECT_EQ(one.status, result.status) << one.line;
        EXPECT_TRUE(std::regex_match(result.said, std::regex(one.said))) << one.line << " said\n" << result.said;
    }
}

TEST(CommandLineTest, NamesAreTakenAsTheyAre)
{
    using Names = std::vector<std::string>;
    const tool::CommandLine line = tool::parseCommandLine(
        {"--to=[x,y]", "put", "[d,e]", "[a,b]", "{}", "a,b", "%%", "-", "put", "--log", "--x=", "--", "--force", "--"});
    EXPECT_EQ("[d,e]", line.arguments.drive);
    EXPECT_EQ((Names{"[a,b]", "{}", "a,b", "%%", "-", "put", "--force", "--"}), line.arguments.paths);
    EXPECT_EQ("[x,y]", line.arguments.to);
    EXPECT_EQ("--x=", line.log);
    EXPECT_FALSE(line.arguments.force);
}

TEST(CommandLineTest, HelpPageAndCompletionKnowEveryCommandAndOption)
{
    const std::string synopsis = part(contentOf("docs/man/krmo.1"), ".Sh SYNOPSIS", ".Sh DESCRIPTION");
    const std::string completion = contentOf("packaging/completion/krmo");
    for (const tool::Command& command : tool::commands()) {
        const std::string name = command.name;
        EXPECT_NE(std::string::npos, tool::helpText(command).find("\nExample: krmo " + name)) << name;
        EXPECT_TRUE(std::regex_search(completion, std::regex("compgen -W '[^']*\\b" + name + "\\b"))) << name;
        const std::string form = part(synopsis, ".Cm " + name + "\n", ".Nm");
        for (const std::vector<std::string>& names : {command.required, command.options}) {
            for (const std::string& option : names)
                EXPECT_NE(std::string::npos, form.find("Fl Fl " + option.substr(2))) << name << " " << option;
        }
    }
    for (const tool::Option& option : tool::options()) {
        EXPECT_NE(std::string::npos, synopsis.find("Fl Fl " + std::string(option.name).substr(2))) << option.name;
        EXPECT_NE(std::string::npos, completion.find(option.name)) << option.name;
    }
}
