// krmo: the library's operations by hand.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>

#include "tool/Commands.h"
#include "tool/Failure.h"
#include "tool/LibraryLog.h"
#include "tool/Text.h"

namespace {

using tool::Arguments;
using tool::Output;
using tool::OutputOptions;

struct CommandLine {
    Arguments arguments;
    OutputOptions output;
    std::string log;
    bool verbose = false;
    bool skipVerify = false;
    void (*run)(const Arguments&, Output&) = nullptr;
};

const char* const driveHelp = "/dev/sgN, /dev/sdX, a link to one of them, H:C:T:L, or a serial number";

/// Taken before and after the command's name.
void addCommonOptions(CLI::App& app, CommandLine& line)
{
    app.add_option("--log", line.log, "appends the library's own lines to a file; -: standard error");
    app.add_flag("--verbose", line.verbose, "shows the library's own lines on standard error");
    app.add_flag("--quiet", line.output.quiet, "no progress and no remarks");
    app.add_flag("--fixed", line.arguments.fixed, "fixed disks, too, which are refused otherwise");
}

CLI::App* addCommand(CLI::App& app, CommandLine& line, const char* name, const char* description,
                     void (*run)(const Arguments&, Output&), const char* footer)
{
    CLI::App* const command = app.add_subcommand(name, description);
    command->callback([&line, run] { line.run = run; });
    command->footer(footer);
    addCommonOptions(*command, line);
    if (run != tool::listDrives)
        command->add_option("DRIVE", line.arguments.drive, driveHelp)->required();
    return command;
}

void addJson(CLI::App* command, CommandLine& line)
{
    command->add_flag("--json", line.output.json, "one JSON document");
}

void addQueries(CLI::App& app, CommandLine& line)
{
    addJson(addCommand(app, line, "drives", "Lists the removable SCSI drives: disks and optical memory devices.",
                       tool::listDrives,
                       "Asks each drive whether its medium is ready; without root, shows what the system knows.\n"
                       "Example: krmo drives --json"),
            line);
    addJson(addCommand(app, line, "info", "Shows serial number, partitions, and free space where mounted.",
                       tool::showInfo, "Example: krmo info /dev/sg1"),
            line);
    CLI::App* const list = addCommand(app, line, "ls", "Lists a folder of the medium.", tool::listFiles,
                                      "Mounts the medium for the time where it is not mounted.\n"
                                      "Example: krmo ls /dev/sg1 /backup");
    list->add_option("PATH", line.arguments.paths, "on the medium (its root)")->expected(0, 1);
    addJson(list, line);
}

void addMediumCommands(CLI::App& app, CommandLine& line)
{
    addCommand(app, line, "mount", "Mounts the first partition of the medium.", tool::mountMedium,
               "It goes to a directory named after the partition.\nExample: krmo mount /dev/sg1");
    addCommand(app, line, "unmount", "Flushes and unmounts the medium.", tool::unmountMedium,
               "Tells who keeps it where it is busy.\nExample: krmo unmount /dev/sg1");
    addCommand(app, line, "unload", "Flushes, unmounts, allows removal, stops the drive and ejects the medium.",
               tool::unloadMedium,
               "Stops before the drive is touched where anybody still uses the medium, and tells who.\n"
               "Tells at the end whether the drive says that the medium is out.\nExample: krmo unload /dev/sg1");
}

void addTransfers(CLI::App& app, CommandLine& line)
{
    CLI::App* const put = addCommand(
        app, line, "put", "Copies files and folders onto the medium.", tool::putFiles,
        "Checks space and names first. Under a final name there is always a whole copy, flushed and compared with\n"
        "what is read back; an interrupt leaves the finished SOURCEs and nothing else. Symbolic links are refused;\n"
        "owners and modes are not kept.\n"
        "Mounts the medium for the time where it is not mounted.\n"
        "Example: krmo put /dev/sg1 /var/backup/monday --to backup");
    put->add_option("SOURCE", line.arguments.paths, "files and folders")->required();
    put->add_option("--to", line.arguments.to, "folder on the medium (its root); made where missing");
    put->add_flag("--no-verify", line.skipVerify, "do not read back and compare");
    put->add_flag("--skip-existing", line.arguments.skipExisting, "leave what is there with the same size and time");
    CLI::App* const get =
        addCommand(app, line, "get", "Copies files and folders from the medium.", tool::getFiles,
                   "Times, owners and modes are not kept. What can not be read is named, and the rest is copied.\n"
                   "Mounts the medium for the time where it is not mounted.\n"
                   "Example: krmo get /dev/sg1 backup/monday --to /var/restored");
    get->add_option("PATH", line.arguments.paths, "on the medium; / is all of it")->required();
    get->add_option("--to", line.arguments.to, "a folder that exists")->required();
    for (CLI::App* const command : {put, get})
        command->add_flag("--force", line.arguments.force,
                          "replace files by files and merge folders; needs room for both copies");
}

void addAll(CLI::App& app, CommandLine& line)
{
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("krmo: ") + error.what() + "; krmo --help tells more\n";
    });
    addCommonOptions(app, line);
    app.footer("Exit status: 0 done, 1 the drive or medium failed or is in use, 2 wrong use, 3 not permitted or not\n"
               "found, 130 interrupted. Example: krmo put /dev/sg1 /var/backup --to today && krmo unload /dev/sg1");
    addQueries(app, line);
    addMediumCommands(app, line);
    addTransfers(app, line);
}

/// The library parses what tools print, and finds them on the path: on the system's, whoever calls.
void setEnvironment()
{
    setenv("LC_ALL", "C", 1);
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

int fail(const std::string& command, const std::string& text, int status)
{
    tool::tell("krmo: " + command + ": ", text);
    return status;
}

int runCommand(CommandLine& line, const std::string& name)
{
    try {
        tool::holdInterrupts();
        tool::readTextAsUtf8();
        setEnvironment();
        tool::listenToLibrary(line.log, line.verbose);
        line.arguments.verify = !line.skipVerify;
        Output output(line.output);
        line.run(line.arguments, output);
        output.finish();
        return tool::statusDone;
    } catch (const tool::Failure& failure) {
        return fail(name, failure.what(), failure.status());
    } catch (const std::exception& exception) {
        return fail(name, exception.what(), tool::statusDeviceFailed);
    }
}

/// No file that is opened later may take the place of a standard one. What is written there still fails.
void openMissingStandardDescriptors()
{
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) == -1)
            open("/dev/null", O_RDONLY);
    }
}

} // namespace

int main(int count, char** arguments) // NOLINT(bugprone-exception-escape): out of memory at the start ends it
{
    openMissingStandardDescriptors();
    CLI::App app("Drives removable SCSI disk media: magneto-optical disks and hard disks with FAT32.", "krmo");
    CommandLine line;
    try {
        addAll(app, line);
        app.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? tool::statusDone : tool::statusWrongUse;
    }
    return runCommand(line, app.get_subcommands().front()->get_name());
}
