// krmo: the library's operations by hand.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tool/CommandLine.h"
#include "tool/Failure.h"
#include "tool/Help.h"
#include "tool/Interrupts.h"
#include "tool/LibraryLog.h"
#include "tool/Text.h"

namespace {

using tool::CommandLine;
using tool::Failure;
using tool::Output;

/// The library parses what tools print, and finds them on the path: on the system's, whoever calls.
void setEnvironment()
{
    setenv("LC_ALL", "C", 1);
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

/// No file that is opened later may take the place of a standard one. What is written there still fails.
void openMissingStandardDescriptors()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) == -1)
            open("/dev/null", O_RDONLY);
    }
}

void runCommand(const CommandLine& line, Output& output)
{
    setEnvironment();
    tool::listenToLibrary(line.log, line.verbose);
    line.command->run(line.arguments, output);
}

void obey(const CommandLine& line)
{
    Output output(line.output);
    if (line.help)
        output.line(line.command == nullptr ? tool::helpText() : tool::helpText(*line.command));
    else if (line.version)
        output.line(tool::versionText());
    else
        runCommand(line, output);
    output.finish();
}

/// What ended the command, with the status that goes with it.
Failure failureOf(const std::exception& exception)
{
    if (const auto* const failure = dynamic_cast<const Failure*>(&exception))
        return *failure;
    if (const auto* const failure = dynamic_cast<const std::filesystem::filesystem_error*>(&exception))
        return tool::systemFailure(failure->path1(), failure->code().value());
    return {tool::statusDeviceFailed, exception.what()};
}

} // namespace

int main(int count, char** arguments) // NOLINT(bugprone-exception-escape): out of memory while it fails ends it
{
    std::string speaker = "krmo: ";
    openMissingStandardDescriptors();
    try {
        tool::holdInterrupts();
        tool::readTextAsUtf8();
        const CommandLine line = tool::parseCommandLine({arguments + std::min(count, 1), arguments + count});
        speaker += line.command == nullptr ? "" : std::string(line.command->name) + ": ";
        obey(line);
        return tool::statusDone;
    } catch (const std::exception& exception) {
        const Failure failure = failureOf(exception);
        tool::tell(speaker, failure.what());
        return failure.status();
    }
}
