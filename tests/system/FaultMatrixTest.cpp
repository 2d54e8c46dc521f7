// What the table in docs/reliability.md tells fault by fault: what a host gets back, the line of the log that names the
// fault, what is on the medium afterwards, and what krmo makes of it. The rows are read from there; what makes the
// faults is here, under the same names.
//
// Host and krmo follow the script of their column, one after the other, on a medium onto which krmo put the file "kept"
// before. A step is an operation and what it gives, unless that is a success. A krmo that runs "at" a line of its log
// stands still behind the second such line until "end".

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <regex>
#include <set>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/drives/Faults.h"
#include "lab/drives/SteppedProgram.h"
#include "lab/drives/Sysfs.h"
#include "tests/system/LabTest.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

namespace fs = std::filesystem;

const std::string folder = "/tmp/faults";
const std::string threadLimit = "/proc/sys/kernel/threads-max";
constexpr std::size_t keptBytes = 500'000;

struct Row {
    std::string name;
    std::string host;
    std::string log;
    std::string medium; ///< the names on it; empty where there is no FAT any more
    std::string tool;
};

void PrintTo(const Row& row, std::ostream* stream)
{
    *stream << row.name;
}

void shell(const std::string& command)
{
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

std::string content(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = end + separator.size();
    }
    return parts;
}

std::string withResult(const std::string& operation, const std::string& result)
{
    return result.empty() ? operation : operation + " = " + result;
}

/// What stands in backquotes in a cell; empty without them.
std::string quoted(const std::string& cell)
{
    const std::vector<std::string> parts = split(cell, "`");
    return parts.size() < 3 ? "" : parts[1];
}

/// The table's rows begin with a name in two asterisks.
std::vector<Row> readRows()
{
    std::vector<Row> rows;
    for (const std::string& line : split(content(KRMO_FAULT_TABLE), "\n")) {
        if (line.rfind("| **", 0) != 0)
            continue;
        const std::vector<std::string> cells = split(line, " | ");
        rows.push_back({split(cells.at(0), "**").at(1), quoted(cells.at(1)), quoted(cells.at(2)), quoted(cells.at(3)),
                        quoted(cells.at(4))});
    }
    return rows;
}

struct FaultMatrix : LabTest, testing::WithParamInterface<Row> {
    using LabTest::drives;
    using LabTest::duringWait;
    using Operation = std::function<std::string(FaultMatrix&)>;
    using Fault = std::function<void(FaultMatrix&)>;
    static const std::map<std::string, Operation> operations;
    static const std::map<std::string, Fault> faults;

    FaultMatrix()
    {
        std::string data(keptBytes, '\0');
        std::iota(data.begin(), data.end(), '\1');
        fs::create_directories(folder + "/back");
        fs::create_directories(folder + "/look");
        std::ofstream(folder + "/kept") << data;
        std::ofstream(folder + "/large") << std::string(3'000'000, 'x');
    }

    ~FaultMatrix() override
    {
        settle();
        fs::remove_all(folder);
    }

    /// Ends every fault and every mount, by what the system shows: a fault may be another process's.
    void settle()
    {
        lab::restoreFiles();
        lab::writeAttribute(threadLimit, threads);
        drives.setParameter("opts", "0");
        if (drives.parameter("wp") != "0")
            drives.setWriteProtected(false);
        unmountAll();
        path = unit.address;
        before.clear();
        unit = drives.present(unit);
        setRunning(1);
        lab::restoreSectors(unit.blockNode);
    }

    /// In a process of its own: one that has sent a command keeps the drive open, and with it the name of its node.
    void setRunning(int running) const
    {
        const pid_t process = fork();
        if (process == 0)
            _exit(KRUnixMODiskImpl(path, "", 0, 0, true).StartStopUnit(running, 0));
        waitpid(process, nullptr, 0);
    }

    std::string directory() const { return mountOf(unit.partitionNode(1)); }
    std::string codeText(unsigned long code) const { return code == 0 ? "" : lastError(*drive); }
    std::string countText(unsigned long count, std::size_t whole) const
    {
        return count == whole ? "" : std::to_string(static_cast<long>(count)) + ", " + lastError(*drive);
    }

    void hostFollows(const std::string& script)
    {
        for (const std::string& step : split(script, "; ")) {
            const std::string operation = step.substr(0, step.find(' '));
            waits.clear();
            const std::string result = operations.at(operation)(*this);
            waits.erase(std::remove(waits.begin(), waits.end(), 10U), waits.end()); // lets the drive settle
            const unsigned int waited = std::accumulate(waits.begin(), waits.end(), 0U);
            EXPECT_EQ(step,
                      withResult(operation, result) + (waited == 0 ? "" : " after " + std::to_string(waited) + " s"));
        }
    }

    [[noreturn]] void beHost(const std::string& script, bool last) noexcept
    {
        isHost = true;
        hostFollows(script);
        std::string all = "\n";
        for (const auto& [level, line] : log)
            all += std::to_string(level) + " " + line + "\n";
        const std::string awaited = std::regex_replace(GetParam().log, std::regex("DRIVE"), path);
        EXPECT_TRUE(!last || all.find("\n" + awaited + "\n") != std::string::npos) << all;
        fflush(nullptr);
        if (!last && !HasFailure())
            kill(getpid(), SIGKILL);
        _exit(HasFailure() ? 1 : 0);
    }

    /// In a process of its own, which is killed unless this is the last host of the row.
    void runHost(const std::string& script, bool last)
    {
        fflush(nullptr);
        const pid_t host = fork();
        if (host == 0)
            beHost(script, last);
        int status = 0;
        waitpid(host, &status, 0);
        EXPECT_EQ(status, last ? 0 : SIGKILL);
    }

    void startTool(const std::string& command, bool talks)
    {
        static const std::map<std::string, std::string> arguments = {
            {"keep", folder + "/kept"}, {"put", folder + "/large"}, {"get", "kept --force --to " + folder + "/back"}};
        const auto found = arguments.find(command);
        tool.start(before + "LAB_DURING_WAIT='. " + folder + "/wait' exec " KRMO_TOOL " " +
                   (command == "keep" ? "put" : command) + " " + path + " " +
                   (found == arguments.end() ? "" : found->second) + (talks ? " --verbose" : ""));
    }

    void toolEnds(const std::string& step)
    {
        const std::size_t result = step.find(" = ");
        const std::string wanted = result == std::string::npos ? "0 " : step.substr(result + 3);
        const std::string text = wanted.substr(wanted.find(' ') + 1);
        const int status = tool.finish();
        EXPECT_TRUE(status == std::stoi(wanted) && tool.said().find(text) != std::string::npos)
            << step << " ended with " << status << " and said\n"
            << tool.said();
    }

    void toolFollows(const std::string& script)
    {
        for (const std::string& step : split(script, "; ")) {
            const std::vector<std::string> parts = split(step, " at ");
            const std::string operation = step.substr(0, step.find(' '));
            const bool isOurs = operation == "mounted" || operation == "others" || std::isupper(operation[0]) != 0;
            if (isOurs) {
                EXPECT_EQ(step, withResult(operation, operations.at(operation)(*this)));
                continue;
            }
            if (operation != "end")
                startTool(operation, parts.size() == 2);
            if (parts.size() == 2)
                tool.runBehind(parts[1], 2);
            else
                toolEnds(step);
        }
    }

    static std::string contentOf(const lab::EmulatedDrive& drive)
    {
        const std::string place = folder + "/look";
        EXPECT_EQ(mount(drive.partitionNode(1).c_str(), place.c_str(), "vfat", MS_RDONLY, nullptr), 0);
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(place))
            names.insert(entry.path().filename());
        EXPECT_TRUE(names.empty() || content(place + "/kept") == content(folder + "/kept"));
        EXPECT_EQ(umount(place.c_str()), 0);
        std::string all;
        for (const std::string& name : names)
            all += (all.empty() ? "" : " ") + name;
        return all;
    }

    const lab::EmulatedDrive other = drives.add(); ///< has the machine's first partition
    lab::EmulatedDrive unit = drives.add();
    std::string path = unit.address; ///< by which host and krmo know the drive
    const std::string threads = lab::readAttribute(threadLimit);

    bool isHost = false;
    std::unique_ptr<KRHardDiskDrive> drive;
    int handle = -1;
    std::string before; ///< for the shell that becomes krmo
    lab::SteppedProgram tool;
};

using Fault = FaultMatrix::Fault;

Fault named(const char* path)
{
    return [path](FaultMatrix& t) { t.path = path; };
}

Fault missing(const char* path)
{
    return [path](FaultMatrix&) { lab::takeAway(path); };
}

Fault stub(const char* path, const char* line)
{
    return [=](FaultMatrix&) { lab::replaceProgram(path, line); };
}

Fault hanging(const char* path)
{
    return [path](FaultMatrix&) { lab::letHangAndDie(path); };
}

Fault parameter(const char* name, const char* value)
{
    return [name, value](FaultMatrix& t) { t.drives.setParameter(name, value); };
}

Fault damage(int sector, int number, const std::string& command)
{
    return [=](FaultMatrix& t) { lab::overwriteSectors(t.unit.blockNode, sector, number, command); };
}

Fault entries(const char* bytes)
{
    return [bytes](FaultMatrix& t) { lab::overwritePartitionTable(t.unit.blockNode, bytes); };
}

void unplug(FaultMatrix& t)
{
    t.drives.unplug(t.unit);
}

void unplugForAWait(FaultMatrix& t)
{
    const std::string command = lab::EmulatedDrives::plugInCommand(t.unit, t.unit.partitionNode(1));
    t.duringWait = [command] { shell(command); };
    std::ofstream(folder + "/wait") << command;
    unplug(t);
}

void takeDescriptors(FaultMatrix& t)
{
    t.before = "ulimit -n 9; ";
    while (t.isHost && dup(STDIN_FILENO) != -1) {
    }
}

void takePartedFromGpt(FaultMatrix&)
{
    lab::replaceProgram("/sbin/fdisk",
                        "printf 'Disk /dev/sdb: 33 MB, 33554432 bytes\\n64 heads, 32 sectors/track, 32 cylin"
                        "ders\\n/dev/sdb1 1 33 33+ ee EFI GPT\\n'");
    lab::takeAway("/sbin/parted");
}

const std::map<std::string, Fault> FaultMatrix::faults = {
    {"NoSuchNode", named("/dev/nosuch")},
    {"NoSuchAddress", named("9:9:9:9")},
    {"NotADrive", named("/dev/null")},
    {"Stopped", [](FaultMatrix& t) { t.setRunning(0); }},
    {"StoppedWhileMounted", [](FaultMatrix& t) { t.setRunning(0); }},
    {"UnitAttentionOnce", parameter("max_luns", "3")},
    {"EjectFails", stub("/bin/eject", "echo refused >&2; exit 1")},
    {"EjectSpeaks", stub("/bin/eject", "echo refused")},
    {"NotFat32", [](FaultMatrix& t) { shell("mkfs.ext4 -q -F " + t.unit.partitionNode(1)); }},
    {"BootSectorWiped", damage(2048, 1, "cat /dev/zero")},
    {"FatIsErased", damage(2052, 120, "cat /dev/zero")},
    {"FatIsNoise", damage(2052, 120, "yes")},
    {"TableIsNoise", damage(0, 1, "yes")},
    {"TableIsEmpty", entries("")},
    {"EntryBeyondTheEnd", entries("\\0\\0\\0\\0\\014\\0\\0\\0\\360\\377\\377\\017\\0\\0\\001\\0")},
    {"EntriesOverlap", entries("\\0\\0\\0\\0\\014\\0\\0\\0\\0\\010\\0\\0\\0\\360\\0\\0"
                               "\\0\\0\\0\\0\\014\\0\\0\\0\\0\\011\\0\\0\\0\\360\\0\\0")},
    {"TableWipedWhileMounted", damage(0, 1, "cat /dev/zero")},
    {"WriteProtected", [](FaultMatrix& t) { t.drives.setWriteProtected(true); }},
    {"TurnsWriteProtected", parameter("wp", "1")},
    {"Full", [](FaultMatrix& t) { shell("cat /dev/zero >" + t.directory().append("/filler") + " 2>/dev/null; true"); }},
    {"MediumError", parameter("opts", "2")},
    {"UnpluggedBeforeMount", unplug},
    {"UnpluggedWhileMounted", unplug},
    {"UnpluggedInAWrite", unplug},
    {"UnpluggedBeforeUnload", unplug},
    {"BackDuringTheWait", unplugForAWait},
    {"FdiskMissing", missing("/sbin/fdisk")},
    {"PartedMissing", takePartedFromGpt},
    {"MountMissing", missing("/bin/mount")},
    {"UmountMissing", missing("/bin/umount")},
    {"EjectMissing", missing("/bin/eject")},
    {"FdiskPrintsNothing", stub("/sbin/fdisk", "")},
    {"FdiskPrintsHalf", stub("/sbin/fdisk", "\"$0.away\" \"$@\" | head -n 14")},
    {"MountHangsAndDies", hanging("/bin/mount")},
    {"UmountHangsAndDies", hanging("/bin/umount")},
    {"MountWarns", stub("/bin/mount", "echo warning; exec \"$0.away\" \"$@\"")},
    {"UmountWarns", stub("/bin/umount", "echo warning; exec \"$0.away\" \"$@\"")},
    {"MountTableMissing", missing("/etc/mtab")},
    {"MountTableIsADirectory", [](FaultMatrix&) { lab::takeAway("/etc/mtab"), fs::create_directory("/etc/mtab"); }},
    {"MountTableLeadsNowhere",
     [](FaultMatrix&) { lab::takeAway("/etc/mtab"), fs::create_symlink("/no", "/etc/mtab"); }},
    {"OutOfDescriptors", takeDescriptors},
    {"OutOfProcesses", [](FaultMatrix&) { lab::writeAttribute(threadLimit, "20"); }},
    {"HostKilled", nullptr},
    {"KrmoKilled", [](FaultMatrix& t) { t.tool.kill(SIGKILL); }},
    {"NothingMounted", nullptr},
};

const std::map<std::string, FaultMatrix::Operation> FaultMatrix::operations = {
    {"FAULT", [](FaultMatrix& t) { return faults.at(GetParam().name)(t), ""; }},
    {"CLEARED", [](FaultMatrix& t) { return t.settle(), ""; }},
    {"open", [](FaultMatrix& t) { return (t.drive = open(t.path)) == nullptr ? "none" : ""; }},
    {"mount", [](FaultMatrix& t) { return t.codeText(t.drive->mount()); }},
    {"mounted", [](FaultMatrix& t) { return t.directory().empty() ? "no" : ""; }},
    {"others", [](FaultMatrix& t) { return mountOf(t.other.partitionNode(1)); }},
    {"device", [](FaultMatrix& t) { return t.drive->getDevicePath() == t.unit.blockNode ? "" : "unknown"; }},
    {"create",
     [](FaultMatrix& t) {
         t.handle = t.drive->createFile(t.drive->getMountPath() + "/half", 2, 0);
         return t.handle > 0 ? "" : t.countText(static_cast<unsigned long>(t.handle), 0);
     }},
    {"write",
     [](FaultMatrix& t) {
         std::string data(1'000'000, 'x');
         return t.countText(t.drive->writeFile(t.handle, data.data(), data.size()), data.size());
     }},
    {"close", [](FaultMatrix& t) { return t.drive->closeHandle(t.handle), ""; }},
    {"read",
     [](FaultMatrix& t) {
         const int file = t.drive->createFile(t.drive->getMountPath() + "/kept", 0, 0);
         std::string data(keptBytes, 'x');
         const std::string count = t.countText(t.drive->readFile(file, data.data(), data.size()), data.size());
         t.drive->closeHandle(file);
         return count.empty() && data != content(folder + "/kept") ? "other data" : count;
     }},
    {"delete", [](FaultMatrix& t) { return fs::remove(t.directory() + "/filler"), ""; }},
    {"unmount", [](FaultMatrix& t) { return t.codeText(t.drive->unmount()); }},
    {"unload", [](FaultMatrix& t) { return t.codeText(t.drive->unload()); }},
};

TEST_P(FaultMatrix, HarmsNothingAndIsTold)
{
    drives.setParameter("medium_error_start", "2210"); // in "kept"
    toolFollows("keep");
    const std::vector<std::string> hosts = split(GetParam().host, "; KILLED; ");
    for (const std::string& script : hosts)
        runHost(script, &script == &hosts.back());
    settle();
    toolFollows(GetParam().tool);
    settle();
    if (!GetParam().medium.empty()) {
        EXPECT_EQ(contentOf(unit), GetParam().medium);
    }
    EXPECT_EQ(contentOf(other), "");
    EXPECT_TRUE(fs::is_empty(folder + "/back") || content(folder + "/back/kept").size() == keptBytes);
    for (const fs::directory_entry& entry : fs::directory_iterator("/"))
        EXPECT_TRUE(entry.path().string().rfind("/sd", 0) != 0 || fs::is_empty(entry.path() / "KRMT")) << entry;
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, testing::ValuesIn(readRows()),
                         [](const auto& row) { return row.param.name; });

TEST(FaultTable, HasARowForEveryFault)
{
    EXPECT_EQ(readRows().size(), FaultMatrix::faults.size());
}

} // namespace
