// put and get: whole copies or none, whatever comes between.

#include <csignal>
#include <filesystem>

#include "lab/support/Process.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;

static void expectSame(const std::string& one, const std::string& other)
{
    EXPECT_NO_THROW(lab::runCommand({"diff", "-r", one, other}));
}

TEST_F(ToolTest, ATreeComesBackAsItWasAfterUnloadAndAFreshMount)
{
    for (int i = 0; i < 500; ++i)
        file("tree/" + std::to_string(i % 7) + "/Grüße und ein langer Name " + std::to_string(i),
             static_cast<std::size_t>(i) * 9);
    file("tree/as long as the number of EIO", 5);
    file("tree/large", 101'000'000);
    for (const lab::DriveType type : {lab::DriveType::disk, lab::DriveType::magnetoOptical}) {
        const lab::EmulatedDrive drive = add({type});
        EXPECT_TRUE(ended(run("put --to a/b " + drive.address + " " + folder + "/tree"), 0, "502 files"));
        EXPECT_TRUE(ended(run("unload " + drive.address), 0, "the medium is out"));
        drives.insert(drive, drives.takeOut(drive));
        EXPECT_TRUE(ended(run("get --force " + drive.address + " a/b/tree --to " + folder + "/back"), 0, "502 files"));
        expectSame(folder + "/tree", folder + "/back/tree");
        EXPECT_FALSE(isMounted(drive));
        drives.removeAll();
    }
}

TEST_F(ToolTest, AShorterFileReplacesALongerOneAndAFolderAFolder)
{
    const lab::EmulatedDrive drive = add();
    const std::string put = "put " + drive.blockNode + " " + file("tree/file", 5000) + " " + folder + "/tree";
    file("tree/old", 1);
    ASSERT_TRUE(ended(run(put), 0));
    fs::remove(folder + "/tree/old");
    file("tree/file", 7);
    EXPECT_TRUE(ended(run(put), 2, "--force"));
    EXPECT_TRUE(ended(run(put + " --force"), 0));
    EXPECT_EQ("file tree tree/file", namesOn(drive));
    EXPECT_TRUE(ended(run("get " + drive.blockNode + " / --to " + folder + "/back"), 0));
    expectSame(folder + "/tree", folder + "/back/tree");
    expectSame(folder + "/tree/file", folder + "/back/file");
}

TEST_F(ToolTest, NoNameLeadsToTheDataOfAnother)
{
    const lab::EmulatedDrive drive = add();
    const std::string put = "put " + drive.genericNode + " " + folder;
    for (const char* const name : {"a/x", "b/x", "longfilename.txt", "LONGFI~1.TXT", ".krmo-incomplete/x"})
        file(name, std::string(name).size());
    ASSERT_TRUE(ended(run(put + "/a " + folder + "/b"), 0));
    const struct {
        std::string arguments;
        const char* said;
    } cases[] = {
        {"get " + drive.genericNode + " a/x b/x --force --to " + folder + "/back", "two are named x"},
        {put + "/longfilename.txt " + folder + "/LONGFI~1.TXT", "same name"},
        {put + "/longfilename.txt --quiet --to b && '" KRMO_TOOL "' " + put + "/LONGFI~1.TXT --to b --force",
         "short name"},
        {put + "/a --to .krmo-incomplete", "is taken"},
        {put + "/a --to .KRMO-Incomplete/deeper", "is taken"},
        {put + "/a --to KRMO-I~1/deeper", "short name"},
        {put + "/.krmo-incomplete", "is taken"},
        {put + "/a --to a/x", "is not a folder"},
        {put + "/b --to a/x/deeper", "is not a folder"},
    };
    for (const auto& one : cases)
        EXPECT_TRUE(ended(run(one.arguments), 2, one.said)) << one.arguments;
    EXPECT_EQ("a a/x b b/longfilename.txt b/x", namesOn(drive));
    EXPECT_TRUE(fs::is_empty(folder + "/back"));
}

TEST_F(ToolTest, AFileThatAppearsMeanwhileStays)
{
    const lab::EmulatedDrive drive = add();
    putAndStop(drive);
    const std::string other = directoryOf(drive) + "/to/large";
    fs::copy_file(folder + "/small", other);
    EXPECT_TRUE(ended(finish(put), 2, "large is there already"));
    ASSERT_TRUE(ended(run("get " + drive.genericNode + " to/large --to " + folder + "/back"), 0));
    expectSame(folder + "/small", folder + "/back/large");
}

TEST_F(ToolTest, WhatEndsAPutLeavesWhatIsFinishedAndNothingElse)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, 0}) { // 0: the medium turns write-protected
        const lab::EmulatedDrive drive = add();
        putAndStop(drive);
        EXPECT_TRUE(ended(run("ls " + drive.genericNode), 1, "process " + std::to_string(put.process()) + " (krmo)"));
        put.kill(signal);
        drives.set(drive, signal == 0 ? "write-protect" : "write-protect=no");
        EXPECT_TRUE(ended(finish(put), signal == 0 ? 1 : 130, "1 of 2 done"));
        drives.set(drive, "write-protect=no");
        EXPECT_FALSE(isMounted(drive));
        EXPECT_EQ("to to/small", namesOn(drive));
        drives.removeAll();
    }
}
