// What a caller of lab/run relies on: that the program inside seems to run outside, but for its drives.

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "lab/drives/Waiting.h"
#include "lab/tests/LabProcess.h"

namespace {

using lab::LabProcess;

std::string randomBytes(size_t size)
{
    std::mt19937 generator(20);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

LabProcess shell(const std::string& script, const std::string& input = {})
{
    return LabProcess({"--no-drives", "--", "sh", "-c", script}, input);
}

TEST(LabRun, PassesTheExitStatusOn)
{
    EXPECT_EQ(0, shell("exit 0").wait());
    EXPECT_EQ(77, shell("exit 77").wait());
}

TEST(LabRun, ReportsDeathBySignalAsAShellDoes)
{
    EXPECT_EQ(128 + SIGSEGV, shell("kill -SEGV $$").wait());
}

TEST(LabRun, TellsAProgramThatIsNotThereFromOneThatCannotRun)
{
    LabProcess missing({"--no-drives", "--", "/no/such/program"});
    EXPECT_EQ(127, missing.wait());
    EXPECT_EQ("lab: can't run /no/such/program: No such file or directory\n", missing.error());
    EXPECT_EQ(126, LabProcess({"--no-drives", "--", "/etc/passwd"}).wait());
}

TEST(LabRun, RefusesWhatItDoesNotKnow)
{
    LabProcess process({"--drive", "type=tape", "--", "true"});
    EXPECT_EQ(125, process.wait());
    EXPECT_EQ("lab: --drive: 'tape' is no value of 'type'; see lab/run --help\n", process.error());
}

TEST(LabRun, PassesMegabytesThroughUnchanged)
{
    const std::string bytes = randomBytes(3U << 20U);
    LabProcess process = shell("tee /dev/stderr", bytes);
    EXPECT_EQ(0, process.wait());
    EXPECT_TRUE(process.output() == bytes);
    EXPECT_TRUE(process.error() == bytes);
}

TEST(LabRun, PassesSignalsOn)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        LabProcess process = shell("trap 'echo interrupted; exit 33' INT; trap 'echo ended; exit 44' TERM; echo up; "
                                   "while :; do read line; done");
        process.waitForOutput("up\n");
        process.signal(signal);
        EXPECT_EQ(signal == SIGINT ? 33 : 44, process.wait());
        EXPECT_EQ(signal == SIGINT ? "up\ninterrupted\n" : "up\nended\n", process.output());
    }
}

TEST(LabRun, ShowsOutputWhileTheProgramRuns)
{
    LabProcess process = shell("echo early; exec sleep 1000");
    process.waitForOutput("early\n");
    process.signal(SIGTERM);
    EXPECT_EQ(128 + SIGTERM, process.wait());
}

TEST(LabRun, EndsAProgramThatTakesTooLong)
{
    LabProcess process({"--no-drives", "--timeout", "4", "--", "sleep", "1000"});
    EXPECT_EQ(124, process.wait());
    EXPECT_EQ(0U, process.error().find("lab: ended after 4 s\n"));
}

// By the launcher's end or by the keeper's: whoever of the two is left ends the kernel with all its helpers.
TEST(LabRun, LeavesNoProcessBehindWhenKilled)
{
    for (const bool keeperIsKilled : {false, true}) {
        LabProcess process = shell("echo up; exec sleep 1000");
        process.waitForOutput("up\n");
        const std::string number = std::to_string(process.number());
        const pid_t kernel = std::stoi(lab::runCommand({"pgrep", "--parent", number, "linux.uml"}));
        if (keeperIsKilled) {
            lab::runCommand({"pkill", "--signal", "KILL", "--parent", number, "lab-launcher"});
        }
        process.signal(keeperIsKilled ? SIGTERM : SIGKILL);
        process.wait();
        lab::waitUntil("the kernel and its helpers end", [kernel] { return ::kill(-kernel, 0) < 0; });
    }
}

TEST(LabRun, LeavesTheMachineAsItWas)
{
    const lab::TemporaryFolder folder;
    std::ofstream(folder.path() + "/file") << "before";
    LabProcess process =
        shell("mkdir /lab-was-here && echo after > " + folder.path() + "/file && cat " + folder.path() + "/file");
    EXPECT_EQ(0, process.wait());
    EXPECT_EQ("after\n", process.output());
    EXPECT_FALSE(std::filesystem::exists("/lab-was-here"));
    EXPECT_EQ(6U, std::filesystem::file_size(folder.path() + "/file"));
}

TEST(LabRun, WritesIntoTheFolderForResults)
{
    const lab::TemporaryFolder folder;
    const std::string file = folder.path() + "/result";
    EXPECT_EQ(0, LabProcess({"--no-drives", "--results", folder.path(), "--", "cp", "/etc/passwd", file}).wait());
    EXPECT_EQ(std::filesystem::file_size("/etc/passwd"), std::filesystem::file_size(file));
}

TEST(LabRun, ShortensLongSleepsOnly)
{
    const std::string script = "sleep 1000; begin=$(date +%s%N); sleep 1; end=$(date +%s%N); "
                               "test $((end - begin)) -ge 1000000000";
    LabProcess process({"--no-drives", "--short-sleeps", "--timeout", "60", "--", "sh", "-c", script});
    EXPECT_EQ(0, process.wait());
}

TEST(LabRun, GivesDrivesOfTwoTypes)
{
    const std::string script = "cat /sys/block/sda/device/type /sys/block/sdb/device/type && mkdir /disk /optical && "
                               "mount /dev/sda1 /disk && mount /dev/sdb1 /optical && "
                               "awk '/^.dev.sd/ {print $1, $3}' /etc/mtab";
    LabProcess process({"--drive", "type=disk", "--drive", "type=mo,label=gpt,fs=ext4", "--", "sh", "-c", script});
    EXPECT_EQ(0, process.wait()) << process.error();
    EXPECT_EQ("0\n7\n/dev/sda1 vfat\n/dev/sdb1 ext4\n", process.output());
}

} // namespace
