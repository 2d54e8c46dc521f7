#include "lab/launcher/LabOptions.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "lab/drives/DriveDescription.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

constexpr int mostMegabytes = 1 << 20;

std::string faultOfDrive(const std::string& text)
{
    try {
        parseDrive(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::string faultOfResults(const std::string& folder)
{
    const bool good = fs::is_directory(folder) && ::access(folder.c_str(), W_OK) == 0;
    return good ? "" : "the folder " + folder + " is not there or can't be written";
}

void addOptions(CLI::App& app, LabOptions& options)
{
    RunOrder& order = options.order;
    const std::string driveHelp = "KEY=VALUE,...: a drive; may be repeated (one with the defaults)\n";
    CLI::Option* const drive = app.add_option("--drive", order.drives, driveHelp + driveKeysHelp);
    drive->allow_extra_args(false)->check(faultOfDrive);
    app.add_flag("--no-drives", "no drive at all")->excludes(drive);
    app.add_option("--results", order.results, "a folder that PROGRAM can write; all else it changes is forgotten")
        ->check(faultOfResults);
    app.add_flag("--short-sleeps", order.shortSleeps, "sleeps of 5 seconds and more return at once in PROGRAM");
    app.add_option("--timeout", options.timeoutSeconds, "seconds, then all ends with exit status 124; 0: none (0)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--memory", options.memoryMegabytes,
                   "MB of the kernel (224, and the size of a medium for each drive and one more)")
        ->check(CLI::Range(128, mostMegabytes));
    app.add_flag("--verbose", options.verbose, "show the kernel's console on standard error");
}

// The media lie in the kernel's memory, and what it reads of one of them lies in its cache besides.
int neededMemory(const std::vector<std::string>& drives)
{
    int largest = DriveDescription().megabytes;
    int sum = 224;
    for (const std::string& drive : drives) {
        largest = std::max(largest, parseDrive(drive).megabytes);
        sum += parseDrive(drive).megabytes;
    }
    return sum + largest;
}

// What was not said, or is meant as the caller sees it.
void complete(LabOptions& options, bool withoutDrives)
{
    RunOrder& order = options.order;
    if (order.drives.empty() && !withoutDrives) {
        order.drives = {"type=disk"};
    }
    if (!order.results.empty()) {
        order.results = fs::absolute(order.results).lexically_normal();
    }
    if (options.memoryMegabytes == 0) {
        options.memoryMegabytes = neededMemory(order.drives);
    }
}

} // namespace

// What stands behind "--" is not shown to the parser, which would take brackets apart.
LabOptions parseOptions(const std::vector<std::string>& arguments)
{
    LabOptions options;
    CLI::App app("Boots a Linux kernel as a process, with emulated removable SCSI drives, and runs PROGRAM in it as "
                 "root:\n  lab/run [OPTIONS] -- PROGRAM [ARGUMENT...]",
                 "lab/run");
    addOptions(app, options);
    const auto separator = std::find(arguments.begin(), arguments.end(), "--");
    try {
        app.parse(std::vector<std::string>(std::make_reverse_iterator(separator), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        options.help = app.help();
        return options;
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    if (arguments.end() - separator < 2) {
        throw UsageError("no program to run is given behind --");
    }
    options.order.program.assign(separator + 1, arguments.end());
    complete(options, app.count("--no-drives") != 0);
    return options;
}

} // namespace lab
