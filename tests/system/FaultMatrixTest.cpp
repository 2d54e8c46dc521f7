// What the table in docs/reliability.md tells fault by fault: what a host gets back, the line of the log that names the
// fault, what is on the medium afterwards, and what krmo makes of it. The rows are read from there; what makes the
// faults is in Faults.inc, under the same names.
//
// Host and krmo follow the script of their column, one after the other, on a medium onto which krmo put the file "kept"
// before; each row has a copy of it, in a drive that serves all rows. A step is an operation and what it gives, unless
// that is a success. A krmo that runs "at" a line of its log stands still behind the second such line until "end".

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/drives/CommandLog.h"
#include "lab/drives/Faults.h"
#include "lab/drives/Media.h"
#include "lab/drives/Sysfs.h"
#include "lab/drives/Waiting.h"
#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"
#include "tests/tool/ToolTest.h"

namespace {

namespace fs = std::filesystem;

const std::string folder = "/tmp/faults";
const std::string threadLimit = "/proc/sys/kernel/threads-max";

struct Row {
    std::string name;
    std::string host;
    std::string log;
    std::string medium; ///< the names on it, or that there is no FAT any more
    std::string tool;
};

void PrintTo(const Row& row, std::ostream* stream)
{
    *stream << row.name;
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

/// The table's rows begin with a name in two asterisks; in a cell, what stands in backquotes counts.
std::vector<Row> readRows()
{
    const std::regex row(R"(^\| \*\*(\w+)\*\*.*? \| `([^`]+)` \| `([^`]+)` \| `([^`]+)` \| `([^`]+)` \|)");
    std::ifstream table(KRMO_FAULT_TABLE);
    std::vector<Row> rows;
    std::smatch cells;
    for (std::string line; std::getline(table, line);) {
        if (std::regex_search(line, cells, row))
            rows.push_back({cells[1], cells[2], cells[3], cells[4], cells[5]});
    }
    return rows;
}

struct FaultMatrix : LabTest, testing::WithParamInterface<Row> {
    using Operation = std::function<std::string(FaultMatrix&)>;
    using Fault = std::function<void(FaultMatrix&)>;
    static const std::map<std::string, Operation> operations;
    static const std::map<std::string, Fault> faults;

    static void SetUpTestSuite()
    {
        std::iota(kept.begin(), kept.end(), '\1');
        fs::create_directories(folder + "/back");
        for (const auto& [name, bytes] : sources())
            std::ofstream(folder + "/" + name) << bytes;
        other = lab::EmulatedDrives().add(); // has the machine's first partition
        unit = lab::EmulatedDrives().add();
        EXPECT_TRUE(ended(run("put " + unit.address + " " + folder + "/kept"), 0));
        withKept = lab::EmulatedDrives().takeOut(unit);
        withKept.erase(withKept.find(",write-protect"));
    }

    static void TearDownTestSuite()
    {
        lab::EmulatedDrives().removeAll();
        fs::remove_all(folder);
    }

    FaultMatrix() { drivesStay = true; }

    void SetUp() override
    {
        medium = lab::copyMedium(withKept);
        settle();
    }

    /// Where a row ended by an exception, it left more than others.
    void TearDown() override
    {
        settle();
        lab::forgetMedium(medium);
        fs::remove(folder + "/back/kept");
    }

    /// Puts a medium into the drive, whatever its tray is like, and has the kernel look at it.
    static void load(const std::string& medium)
    {
        lab::EmulatedDrives().forceOpen(unit);
        lab::EmulatedDrives().insert(unit, medium);
        lab::openFile(unit.blockNode, O_RDONLY | O_NONBLOCK);
    }

    /// Ends every fault and every mount, by what the system shows: a fault may be another process's.
    void settle()
    {
        waitpid(helper, nullptr, 0);
        lab::restoreFiles();
        lab::writeAttribute(threadLimit, threads);
        unsetenv("LAB_COMMAND_SECONDS");
        unit = drives.plugIn(unit);
        drives.heal(unit);
        lab::writeAttribute(commandLimit(), "30");
        drives.set(unit, "button-ignores-lock=no,spin-up=0");
        unmountAll();
        path = unit.address;
        before.clear();
        if (std::regex_search(drives.state(unit),
                              std::regex("tray=closed,.*stopped=no," + medium + ",write-protect=no")))
            lab::openFile(unit.blockNode, O_RDONLY | O_NONBLOCK);
        else
            load(medium);
        lab::restoreSectors(unit.blockNode);
    }

    /// What krmo brings to media.
    static std::map<std::string, std::string> sources()
    {
        return {{"kept", kept}, {"large", std::string(3'000'000, 'x')}};
    }

    std::map<std::string, std::string> onMedium() const
    {
        try {
            return lab::contentOf(unit.partitionNode(1));
        } catch (const std::system_error&) {
            return {{"no FAT", ""}};
        }
    }

    /// How many seconds the kernel gives to commands of its own.
    static std::string commandLimit() { return lab::unitFolder(unit.address) + "/timeout"; }
    std::string directory() const { return mountOf(unit.partitionNode(1)); }

    /// Where who runs has the medium; krmo has it for itself.
    std::string place() const { return isHost ? directory() : ToolTest::directoryIn(tool, unit); }
    std::string codeText(unsigned long code) const { return code == 0 ? "" : lastError(*drive); }
    std::string countText(unsigned long count, std::size_t whole) const
    {
        return count == whole ? "" : std::to_string(static_cast<long>(count)) + ", " + lastError(*drive);
    }

    /// What an operation gives, as the table tells it.
    std::string given(const std::string& operation)
    {
        waits.clear();
        const std::string result = operations.at(operation)(*this);
        waits.erase(std::remove(waits.begin(), waits.end(), 10U), waits.end()); // lets the drive settle
        const unsigned int waited = std::accumulate(waits.begin(), waits.end(), 0U);
        return operation + (result.empty() ? "" : " = " + result) +
               (waited == 0 ? "" : " after " + std::to_string(waited) + " s");
    }

    /// Not done by krmo either, but seen.
    static bool isLook(const std::string& operation)
    {
        return operation == "mounted" || operation == "others" || operation == "tray";
    }

    void follow(const std::string& script)
    {
        for (const std::string& step : split(script, "; ")) {
            const std::string operation = step.substr(0, step.find(' '));
            if (isHost || isLook(operation) || std::isupper(operation[0]) != 0)
                EXPECT_EQ(step, given(operation));
            else
                toolFollows(operation, step);
        }
    }

    [[noreturn]] void beHost(const std::string& script, bool last) noexcept
    {
        isHost = true;
        follow(script);
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

    void startTool(const std::string& arguments)
    {
        tool.start(before + "LAB_DURING_WAIT='. " + folder + "/wait' exec '" KRMO_TOOL "' " + arguments);
    }

    void toolFollows(const std::string& command, const std::string& step)
    {
        static std::map<std::string, std::string> more = {{"put", folder + "/large"},
                                                          {"get", "kept --force --to " + folder + "/back"}};
        const std::vector<std::string> parts = split(step, " at ");
        if (command == "example")
            tool.start("exec '" KRMO_EXAMPLE "' " + path);
        else if (command != "end")
            startTool(command + " " + path + " " + more[command] + (parts.size() == 2 ? " --verbose" : ""));
        if (parts.size() == 2)
            return tool.runBehind(parts[1], 2);
        const std::size_t result = step.find(" = ");
        const std::string wanted = result == std::string::npos ? "0 " : step.substr(result + 3);
        const std::string text = wanted.substr(wanted.find(' ') + 1);
        EXPECT_TRUE(ended(finish(tool), std::stoi(wanted), text)) << step;
    }

    static inline lab::EmulatedDrive other;
    static inline lab::EmulatedDrive unit;
    static inline std::string kept = std::string(500'000, '\0'); ///< what the file of this name holds
    static inline std::string withKept;                          ///< the medium whose copies the rows have

    std::string medium;              ///< of this row
    std::string path = unit.address; ///< by which host and krmo know the drive
    const std::string threads = lab::readAttribute(threadLimit);
    pid_t helper = -1; ///< waits for what is to be done in the midst of another process's work

    bool isHost = false;
    std::unique_ptr<KRHardDiskDrive> drive;
    int handle = -1;
    std::string before; ///< for the shell that becomes krmo
    lab::SteppedProgram tool;
};

using Fault = FaultMatrix::Fault;

std::string namesIn(const std::string& directory)
{
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory))
        names.insert(entry.path().filename());
    return names.empty() ? "none"
                         : std::accumulate(std::next(names.begin()), names.end(), *names.begin(),
                                           [](const auto& left, const auto& right) { return left + " " + right; });
}

Fault named(const char* path)
{
    return [path](FaultMatrix& test) { test.path = path; };
}

Fault file(void (*happens)(const std::string&), const char* path)
{
    return [=](FaultMatrix&) { happens(path); };
}

Fault stub(const char* path, const char* line)
{
    return [=](FaultMatrix&) { lab::replaceProgram(path, line); };
}

/// Answers of the drive to the next commands of a kind, whoever sends them.
Fault answers(std::vector<const char*> steps)
{
    return [steps](FaultMatrix& test) {
        for (const char* const step : steps)
            test.drives.answer(FaultMatrix::unit, step);
    };
}

Fault setting(const char* keys)
{
    return [keys](FaultMatrix& test) { test.drives.set(FaultMatrix::unit, keys); };
}

Fault damage(int sector, int number, const std::string& command)
{
    return [=](FaultMatrix&) { lab::overwriteSectors(FaultMatrix::unit.blockNode, sector, number, command); };
}

Fault entries(const char* bytes)
{
    return [bytes](FaultMatrix&) { lab::overwritePartitionTable(FaultMatrix::unit.blockNode, bytes); };
}

void unplug(FaultMatrix& test)
{
    test.drives.unplug(FaultMatrix::unit);
}

void unplugForAWait(FaultMatrix& test)
{
    const std::string command =
        lab::EmulatedDrives::plugInCommand(FaultMatrix::unit, FaultMatrix::unit.partitionNode(1));
    LabTest::duringWait = [command] { lab::runCommand({"sh", "-c", command}); };
    std::ofstream(folder + "/wait") << command;
    unplug(test);
}

void takeDescriptors(FaultMatrix& test)
{
    test.before = "ulimit -n 11; ";
    while (test.isHost && dup(STDIN_FILENO) != -1) {
    }
}

void takeMedium(FaultMatrix& test)
{
    test.drives.set(FaultMatrix::unit, "button-ignores-lock");
    test.drives.takeOut(FaultMatrix::unit);
}

/// An empty one of another size, whose only partition lies elsewhere and has that number.
Fault anotherMedium(const std::string& number)
{
    return [number](FaultMatrix& test) {
        const std::string file = folder + "/another";
        lab::runCommand({"sh", "-c",
                         "truncate -s 0 " + file + "; truncate -s 48M " + file + "; echo '" + file + number +
                             " : start=16384, type=c' | sfdisk -q " + file + "; mkfs.vfat --offset 16384 " + file});
        test.drives.forceOpen(FaultMatrix::unit);
        test.drives.insert(FaultMatrix::unit, "file=" + file + ",sector-size=512");
    };
}

/// Takes the medium out, whatever the host has locked, and shuts the tray upon what is in it then.
Fault reload(const char* settings, const char* medium = nullptr)
{
    return [=](FaultMatrix& test) {
        test.drives.set(FaultMatrix::unit, settings);
        test.drives.forceOpen(FaultMatrix::unit);
        test.drives.insert(FaultMatrix::unit, medium == nullptr ? test.medium : medium);
    };
}

/// The medium goes in, and spins until the kernel has told the drive to start and waits for it.
void spinUpUntilStarted(FaultMatrix& test)
{
    takeMedium(test);
    lab::openFile(FaultMatrix::unit.blockNode, O_RDONLY | O_NONBLOCK); // the kernel sees that it is empty
    lab::CommandLog log;
    reload("spin-up=3600000")(test);
    test.helper = fork();
    if (test.helper != 0)
        return;
    lab::waitUntil("the drive is told to start", [&log] {
        const std::vector<lab::ArrivedCommand> arrived = log.take();
        return std::any_of(arrived.begin(), arrived.end(),
                           [](const auto& command) { return command.bytes[0] == 0x1b; });
    });
    test.drives.set(FaultMatrix::unit, "spin-up=0");
    _exit(0);
}

/// The kernel gives up a command of a program after two seconds then.
void leaveStopUnanswered(FaultMatrix& test)
{
    setenv("LAB_COMMAND_SECONDS", "2", 1);
    test.drives.answer(FaultMatrix::unit, "command=1b......00,unanswered");
}

/// The kernel waits its own 30 seconds for the host; for krmo, which meets the same, they are shortened.
void leaveReadUnanswered(FaultMatrix& test)
{
    lab::writeAttribute(FaultMatrix::commandLimit(), test.isHost ? "30" : "1");
    test.drives.answer(FaultMatrix::unit, "command=28,unanswered");
}

void takePartedFromGpt(FaultMatrix&)
{
    lab::replaceProgram("/sbin/fdisk",
                        "printf 'Disk /dev/sdb: 33 MB, 33554432 bytes\\n64 heads, 32 sectors/track, 32 cylin"
                        "ders\\n/dev/sdb1 1 33 33+ ee EFI GPT\\n'");
    lab::takeAway("/sbin/parted");
}

const std::map<std::string, Fault> FaultMatrix::faults = {
#include "tests/system/Faults.inc"
};

const std::map<std::string, FaultMatrix::Operation> FaultMatrix::operations = {
    {"FAULT", [](FaultMatrix& test) { return faults.at(GetParam().name)(test), ""; }},
    {"CLEARED", [](FaultMatrix& test) { return test.settle(), ""; }},
    {"open", [](FaultMatrix& test) { return (test.drive = open(test.path)) == nullptr ? "none" : ""; }},
    {"mount", [](FaultMatrix& test) { return test.codeText(test.drive->mount()); }},
    {"mounted", [](FaultMatrix& test) { return test.directory().empty() ? "no" : ""; }},
    {"others", [](FaultMatrix&) { return mountOf(FaultMatrix::other.partitionNode(1)); }},
    {"tray", [](FaultMatrix& test) { return test.drives.state(unit).find("tray=open") == 0 ? "open" : ""; }},
    {"names", [](FaultMatrix& test) { return namesIn(test.directory()); }},
    {"device",
     [](FaultMatrix& test) { return test.drive->getDevicePath() == FaultMatrix::unit.blockNode ? "" : "unknown"; }},
    {"create",
     [](FaultMatrix& test) {
         test.handle = test.drive->createFile(test.drive->getMountPath() + "/half", 2, 0);
         return test.handle > 0 ? "" : test.countText(static_cast<unsigned long>(test.handle), 0);
     }},
    {"write",
     [](FaultMatrix& test) {
         std::string data(1'000'000, 'x');
         return test.countText(test.drive->writeFile(test.handle, data.data(), data.size()), data.size());
     }},
    {"close", [](FaultMatrix& test) { return test.drive->closeHandle(test.handle), ""; }},
    {"read",
     [](FaultMatrix& test) {
         const int file = test.drive->createFile(test.drive->getMountPath() + "/kept", 0, 0);
         std::string data(FaultMatrix::kept.size(), 'x');
         const std::string count = test.countText(test.drive->readFile(file, data.data(), data.size()), data.size());
         test.drive->closeHandle(file);
         return count.empty() && data != FaultMatrix::kept ? "other data" : count;
     }},
    {"delete", [](FaultMatrix& test) { return fs::remove(test.directory() + "/filler"), ""; }},
    {"unmount", [](FaultMatrix& test) { return test.codeText(test.drive->unmount()); }},
    {"unload", [](FaultMatrix& test) { return test.codeText(test.drive->unload()); }},
};

TEST_P(FaultMatrix, HarmsNothingAndIsTold)
{
    const std::vector<std::string> hosts = split(GetParam().host, "; KILLED; ");
    for (const std::string& script : hosts)
        runHost(script, &script == &hosts.back());
    settle();
    follow(GetParam().tool);
    settle();
    std::string names;
    auto known = sources();
    for (const auto& [name, bytes] : onMedium()) {
        names += (names.empty() ? "" : " ") + name;
        EXPECT_TRUE(known.count(name) == 0 || bytes == known[name]) << name;
    }
    EXPECT_EQ(names, GetParam().medium);
    EXPECT_EQ(namesOn(other), "");
    EXPECT_TRUE(fs::is_empty(folder + "/back") || fs::file_size(folder + "/back/kept") == kept.size());
    for (const fs::directory_entry& entry : fs::directory_iterator("/"))
        EXPECT_TRUE(entry.path().string().rfind("/sd", 0) != 0 || fs::is_empty(entry.path() / "KRMT")) << entry;
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, testing::ValuesIn(readRows()),
                         [](const auto& row) { return row.param.name; });

TEST(FaultTable, HasARowForEveryFault)
{
    std::set<std::string> told;
    std::set<std::string> made;
    for (const Row& row : readRows())
        told.insert(row.name);
    for (const auto& [name, fault] : FaultMatrix::faults)
        made.insert(name);
    EXPECT_EQ(told, made);
}

} // namespace
