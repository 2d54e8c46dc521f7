// The commands apart from transfers: what they tell, what they refuse, and what a busy medium makes of them.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "lab/drives/Faults.h"
#include "lab/support/Process.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;
using nlohmann::json;

TEST_F(ToolTest, JsonIsOneDocumentForAnyName)
{
    const lab::EmulatedDrive drive = add({lab::DriveType::magnetoOptical});
    file("a name", 1);
    file("Grüße", 3);
    file("l\xe9g", 2);
    file("[a,b]", 4); // no list of two
    const std::string names = "'a name' Grüße l\xe9g '[a,b]'";
    ASSERT_TRUE(ended(run("put --to '[x,y]' " + drive.genericNode + " " + names, "cd " + folder + ";"), 0));
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));

    const json listed = json::parse(run("drives --json").said)["drives"].at(0);
    EXPECT_EQ(drive.address, listed["address"]);
    EXPECT_EQ(drive.blockNode, listed["node"]);
    EXPECT_EQ(true, listed["ready"]);
    EXPECT_EQ(directoryOf(drive), listed["mounts"].at(0)["directory"]);

    const std::string serial = listed["serial"];
    const json info = json::parse(run("info --json " + serial).said);
    EXPECT_EQ(serial, info["serial"]);
    EXPECT_EQ(directoryOf(drive), info["logicalDrive"]);
    EXPECT_EQ(drive.partitionNode(1), info["partitions"].at(0)["node"]);
    EXPECT_LT(0U, info["available"].get<std::uint64_t>());

    const json entries = json::parse(run("ls --json " + serial + " '[x,y]'").said)["entries"];
    EXPECT_EQ("Grüße", entries.at(0)["name"]);
    EXPECT_EQ("[a,b]", entries.at(1)["name"]);
    EXPECT_EQ("a name", entries.at(2)["name"]);
    EXPECT_EQ("6ce967", entries.at(3)["nameBytes"]);
    EXPECT_EQ(2, entries.at(3)["bytes"]);
}

TEST_F(ToolTest, WhatCanNotWorkIsToldAtOnceAndTouchesNothing)
{
    const lab::EmulatedDrive drive = add();
    const lab::EmulatedDrive other = add({lab::DriveType::disk, lab::Label::dos, lab::FileSystem::ext4});
    const std::string good = file("good", 1);
    fs::create_symlink(good, folder + "/link");
    fs::create_directories(folder + "/pipe");
    lab::runCommand({"mkfifo", folder + "/pipe/fifo"});
    file("case/Über", 1);
    file("case/über", 1);
    fs::resize_file(file("huge/file", 0), 4'294'967'296);
    fs::resize_file(file("many", 0), 210'000'000);
    file("odd/what?", 1);
    file("odd dot/dot.", 1);
    const std::string put = "put " + drive.genericNode + " ";
    const struct {
        std::string arguments;
        int status;
        const char* said;
    } cases[] = {
        {"mount " + drive.partitionNode(1), 2, "is a partition; its disk is /dev/sd"},
        {"unload no-such-number", 3, "no drive has the serial number no-such-number"},
        {put + folder + "/nothing", 3, "No such file"},
        {put + folder + "/link", 2, "symbolic link"},
        {put + folder + "/pipe", 2, "neither a file nor a folder"},
        {put + folder + "/case", 2, "have the same name on FAT"},
        {put + good + " " + good, 2, "have the same name on FAT"},
        {put + folder + "/huge", 2, "4 GiB"},
        {put + folder + "/many", 1, "too little space"},
        {put + folder + "/odd", 2, "holds ?"},
        {put + "'" + folder + "/odd dot'", 2, "ends with a dot"},
        {put + good + " --to a:b", 2, "holds :"},
        {"ls " + drive.genericNode + " nothing", 3, "No such file"},
        {"get " + drive.genericNode + " nothing --to /tmp", 3, "No such file"},
        {"get " + drive.genericNode + " / --to /nowhere", 3, "No such file"},
        {"unmount " + drive.genericNode, 1, "nothing is mounted"},
        {"mount " + other.genericNode, 1, "krmo: mount: 930: Either the media is not FAT32 formated"},
        {"put " + other.genericNode + " " + good, 1, "krmo: put: 930: Either the media is not FAT32 formated"},
    };
    for (const auto& one : cases)
        EXPECT_TRUE(ended(run(one.arguments), one.status, one.said)) << one.arguments;
    fs::permissions(fs::path(file("closed/file", 1)).parent_path(), fs::perms::none);
    letOthersRunTheTool();
    const std::string asOwnerAlone = "setpriv --bounding-set=-dac_override,-dac_read_search";
    EXPECT_TRUE(ended(run(put + folder + "/closed", asOwnerAlone), 3, "closed: open: Permission denied"));
    EXPECT_EQ("", namesOn(drive));
    EXPECT_TRUE(fs::is_empty(directoryOf(other)));

    const std::string asNobody = "setpriv --reuid=65534 --regid=65534 --clear-groups";
    EXPECT_TRUE(ended(run("drives", asNobody), 0, "Permission denied"));
    EXPECT_TRUE(ended(run("mount " + drive.genericNode, asNobody), 3, "Permission denied"));
}

TEST_F(ToolTest, ATerminalIsToldWhatIsDone)
{
    const lab::EmulatedDrive drive = add();
    const struct {
        std::string arguments;
        bool compares;
    } cases[] = {
        {"put " + drive.genericNode + " " + file("file", 1), true},
        {"put --no-verify --force " + drive.genericNode + " " + file("file", 1), false},
        {"get " + drive.genericNode + " file --to " + folder + "/back", false},
    };
    for (const auto& one : cases) {
        const ToolResult result = run(one.arguments + "\" /dev/null", "TERM=xterm exec script -qec \"");
        EXPECT_TRUE(ended(result, 0, "writing ["));
        EXPECT_EQ(one.compares, result.said.find("comparing [") != std::string::npos) << one.arguments;
    }
}

TEST_F(ToolTest, AnInterruptedToolDoesNoHarm)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
    // One before it interrupts the whole group, as a terminal does.
    lab::replaceProgram("/sbin/fdisk", "kill -INT 0; exec \"$0.away\" \"$@\"");
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + file("good", 1), "setsid --wait"), 130, "interrupted"));
    EXPECT_TRUE(isMounted(drive));
    EXPECT_TRUE(fs::is_empty(directoryOf(drive)));
}

TEST_F(ToolTest, WhatIsMountedThereAndNotFatIsNotUsed)
{
    const lab::EmulatedDrive other = add({lab::DriveType::disk, lab::Label::dos, lab::FileSystem::ext4});
    fs::create_directories(directoryOf(other));
    lab::runCommand({"mount", other.partitionNode(1), directoryOf(other)});
    EXPECT_TRUE(ended(run("ls " + other.genericNode), 1, "is not FAT"));
}

TEST_F(ToolTest, ABusyMediumStaysWhereItIsAndItsHolderIsNamed)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
    const std::string holder = "process " + std::to_string(getpid());
    std::ofstream open(directoryOf(drive) + "/open");
    EXPECT_TRUE(ended(run("unmount " + drive.genericNode), 1, holder));
    EXPECT_TRUE(ended(run("unload " + drive.genericNode), 1, holder));
    EXPECT_TRUE(isMounted(drive));
    open.close();

    lab::SteppedProgram elsewhere;
    elsewhere.start("exec unshare --mount sh -c 'echo apart; exec yes'");
    elsewhere.runBehind("apart", 1);
    const std::string space = "name space of process " + std::to_string(elsewhere.process());
    EXPECT_TRUE(ended(run("unload " + drive.genericNode), 1, space));
    EXPECT_TRUE(ended(run("drives"), 0, " ready"));
    elsewhere.kill(SIGKILL);
    elsewhere.finish();
    EXPECT_TRUE(ended(run("unload " + drive.genericNode), 0, "the medium is out"));
}
