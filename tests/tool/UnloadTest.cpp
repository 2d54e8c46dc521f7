// `unload`, on drives that eject, that refuse to, and that only say so.

#include <cerrno>
#include <filesystem>

#include <fcntl.h>

#include "lab/drives/Media.h"
#include "tests/tool/ToolTest.h"

// What drives do that know the command is in the table of faults.
TEST_F(ToolTest, UnloadTellsWhatBecameOfTheMedium)
{
    const struct {
        const char* answer; ///< of the drive
        int status;
        const char* said;
        const char* tray;
    } cases[] = {
        {"command=1e,times=all,sense=5/20/00", 0, "the medium is out", "open"},
        {"command=1b......02,sense=5/24/00", 1, "the medium is not ejected: ", "closed"},
    };
    for (const auto& one : cases) {
        const lab::EmulatedDrive drive = add();
        drives.answer(drive, one.answer);
        ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
        const ToolResult result = run("unload " + drive.genericNode);
        EXPECT_TRUE(ended(result, one.status, one.said)) << one.answer;
        EXPECT_EQ(std::string(one.tray) == "open", result.said == "the medium is out\n") << one.answer;
        EXPECT_FALSE(isMounted(drive)) << one.answer;
        const std::string state = drives.state(drive);
        EXPECT_EQ(0U, state.find(std::string("tray=") + one.tray)) << one.answer << ": " << state;
        drives.removeAll();
    }
}

TEST_F(ToolTest, NobodyElseGetsTheMediumBeforeItIsOut)
{
    const lab::EmulatedDrive drive = add();
    lab::SteppedProgram unload;
    unload.start("exec '" KRMO_TOOL "' unload --verbose " + drive.genericNode);
    unload.runBehind("Test unit ready command succeeded", 1); // and stand before it ejects, at the latest
    EXPECT_EQ(-1, ::open(drive.blockNode.c_str(), O_RDONLY | O_EXCL | O_NONBLOCK));
    EXPECT_EQ(EBUSY, errno);
    EXPECT_TRUE(ended(finish(unload), 0, "the medium is out"));
}

TEST_F(ToolTest, AMediumComesOutAndAnotherGoesIn)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("put " + drive.genericNode + " " + file("first", 10)), 0));
    ASSERT_TRUE(ended(run("unload " + drive.genericNode), 0, "the medium is out"));
    EXPECT_TRUE(ended(run("drives"), 0, "MEDIUM NOT PRESENT"));
    EXPECT_FALSE(std::filesystem::exists(drive.partitionNode(1)));
    const std::string first = drives.takeOut(drive);

    lab::DriveDescription other;
    other.label = lab::Label::gpt;
    drives.insert(drive, lab::makeMedium(other));
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + file("second", 20)), 0));
    EXPECT_EQ(std::string::npos, run("ls " + drive.genericNode).said.find("first"));
    ASSERT_TRUE(ended(run("unload " + drive.genericNode), 0, "the medium is out"));
    drives.takeOut(drive);

    drives.insert(drive, first);
    EXPECT_TRUE(ended(run("ls " + drive.genericNode), 0, "first"));
}
