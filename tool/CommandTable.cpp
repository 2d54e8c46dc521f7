#include "tool/CommandTable.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "tool/CommandLine.h"

namespace tool {

namespace {

void storePath(Arguments& arguments, const std::string& value)
{
    arguments.paths.push_back(value);
}

const Operand drive = {"DRIVE", Operand::once, "/dev/sgN, /dev/sdX, a link to one of them, H:C:T:L, or a serial number",
                       [](Arguments& arguments, const std::string& value) { arguments.drive = value; }};

std::vector<Command> queries()
{
    return {
        {"drives",
         "Lists the removable SCSI drives: disks and optical memory devices.",
         "Asks each drive whether its medium is ready; without root, shows what the system knows.",
         {},
         {},
         {"--json"},
         "krmo drives --json",
         listDrives},
        {"info",
         "Shows serial number, partitions, and free space where mounted.",
         "Where the medium is mounted, tells in which character set names are stored unless that is UTF-8.",
         {drive},
         {},
         {"--json"},
         "krmo info /dev/sg1",
         showInfo},
        {"ls",
         "Lists a folder of the medium.",
         "Mounts the medium for the time where it is not mounted.",
         {drive, {"PATH", Operand::atMostOnce, "on the medium (its root)", storePath}},
         {},
         {"--json"},
         "krmo ls /dev/sg1 /backup",
         listFiles},
    };
}

std::vector<Command> mediumCommands()
{
    return {
        {"mount",
         "Mounts the first partition of the medium.",
         "It goes to a directory named after the partition.",
         {drive},
         {},
         {},
         "krmo mount /dev/sg1",
         mountMedium},
        {"unmount",
         "Flushes and unmounts the medium.",
         "Tells who keeps it where it is busy.",
         {drive},
         {},
         {},
         "krmo unmount /dev/sg1",
         unmountMedium},
        {"unload",
         "Flushes, unmounts, allows removal, stops the drive and ejects the medium.",
         "Stops before the drive is touched where anybody still uses the medium, and tells who.\n"
         "Tells at the end whether the drive says that the medium is out.",
         {drive},
         {},
         {},
         "krmo unload /dev/sg1",
         unloadMedium},
    };
}

std::vector<Command> transfers()
{
    return {
        {"put",
         "Copies files and folders onto the medium.",
         "Checks space and names first. Under a final name there is always a whole copy, flushed and compared with\n"
         "what is read back; an interrupt leaves the finished SOURCEs and nothing else. Symbolic links are refused;\n"
         "owners and modes are not kept.\n"
         "Mounts the medium for the time where it is not mounted.",
         {drive, {"SOURCE", Operand::onceOrMore, "files and folders", storePath}},
         {},
         {"--to", "--no-verify", "--skip-existing", "--force"},
         "krmo put /dev/sg1 /var/backup/monday --to backup",
         putFiles},
        {"get",
         "Copies files and folders from the medium.",
         "Times, owners and modes are not kept. What can not be read is named, and the rest is copied.\n"
         "Mounts the medium for the time where it is not mounted.",
         {drive, {"PATH", Operand::onceOrMore, "on the medium; / is all of it", storePath}},
         {"--to"},
         {"--force"},
         "krmo get /dev/sg1 backup/monday --to /var/restored",
         getFiles},
    };
}

constexpr std::array<std::string_view, 6> common = {"--fixed", "--log", "--verbose", "--quiet", "--help", "--version"};

} // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = [] {
        std::vector<Command> list;
        for (const std::vector<Command>& group : {queries(), mediumCommands(), transfers()})
            list.insert(list.end(), group.begin(), group.end());
        return list;
    }();
    return all;
}

const std::vector<Option>& options()
{
    using Line = CommandLine;
    using Value = std::string;
    static const std::vector<Option> all = {
        {"--to", "FOLDER", "where the copies go: with put on the medium (its root), made where missing",
         [](Line& line, const Value& value) { line.arguments.to = value; }},
        {"--no-verify", nullptr, "do not read back and compare",
         [](Line& line, const Value&) { line.arguments.verify = false; }},
        {"--skip-existing", nullptr, "leave what is there with the same size and time",
         [](Line& line, const Value&) { line.arguments.skipExisting = true; }},
        {"--force", nullptr, "replace files by files and merge folders; needs room for both copies",
         [](Line& line, const Value&) { line.arguments.force = true; }},
        {"--json", nullptr, "one JSON document on standard output",
         [](Line& line, const Value&) { line.output.json = true; }},
        {"--fixed", nullptr, "fixed disks, too, which are refused otherwise",
         [](Line& line, const Value&) { line.arguments.fixed = true; }},
        {"--log", "FILE", "append the library's own lines to a file; -: standard error",
         [](Line& line, const Value& value) { line.log = value; }},
        {"--verbose", nullptr, "show the library's own lines on standard error",
         [](Line& line, const Value&) { line.verbose = true; }},
        {"--quiet", nullptr, "no progress and no remarks", [](Line& line, const Value&) { line.output.quiet = true; }},
        {"--help", nullptr, "show the commands, or what a command takes; also -h",
         [](Line& line, const Value&) { line.help = true; }},
        {"--version", nullptr, "show the version", [](Line& line, const Value&) { line.version = true; }},
    };
    return all;
}

bool isCommon(const Option& option)
{
    return std::find(common.begin(), common.end(), option.name) != common.end();
}

} // namespace tool
