// put and get: whole copies or none, whatever comes between.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "lab/drives/Faults.h"
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

TEST_F(ToolTest, ForceReplacesFilesMergesFoldersAndDeletesNothing)
{
    const lab::EmulatedDrive drive = add();
    const std::string put = "put " + drive.blockNode + " " + file("tree/file", 5000) + " " + folder + "/tree";
    file("tree/sub/old", 1);
    ASSERT_TRUE(ended(run(put), 0));
    file("tree/file", 7);
    fs::remove(folder + "/tree/sub/old");
    file("tree/sub/new", 3);
    EXPECT_TRUE(ended(run(put), 2, "--force"));
    EXPECT_TRUE(ended(run(put + " --force"), 0));
    EXPECT_EQ("file tree tree/file tree/sub tree/sub/new tree/sub/old", namesOn(drive));

    file("back/tree/own", 2);
    file("back/tree/sub/new", 9);
    EXPECT_TRUE(ended(run("get " + drive.blockNode + " / --force --to " + folder + "/back"), 0));
    EXPECT_TRUE(fs::exists(folder + "/back/tree/own") && fs::exists(folder + "/back/tree/sub/old"));
    expectSame(folder + "/tree/sub/new", folder + "/back/tree/sub/new");
    expectSame(folder + "/tree/file", folder + "/back/file");

    fs::remove_all(folder + "/tree/sub");
    file("tree/sub", 4);
    EXPECT_TRUE(ended(run(put + " --force"), 2, "a folder has the name already"));
    fs::remove_all(folder + "/back/tree");
    file("back/tree", 4);
    EXPECT_TRUE(ended(run("get " + drive.blockNode + " tree --force --to " + folder + "/back"), 2, "is no folder"));
    EXPECT_EQ("file tree tree/file tree/sub tree/sub/new tree/sub/old", namesOn(drive));
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

TEST_F(ToolTest, APathLeadsWhereTheKernelFindsIt)
{
    const lab::EmulatedDrive drive = add();
    file("f", 5);
    file("other/f", 7);
    fs::create_directories(folder + "/other/inner");
    fs::create_directory_symlink("other/inner", folder + "/link");
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + folder + "/link/../f"), 0, "put 1 files, 7 bytes"));
    EXPECT_TRUE(ended(run("get " + drive.genericNode + " f --to " + folder + "/link/.."), 2, "is there already"));
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + folder + "/link/.. --to up"), 0, "put 1 files, 7 bytes"));
    EXPECT_EQ("f up up/other up/other/f up/other/inner", namesOn(drive));
}

TEST_F(ToolTest, AFileThatAppearsMeanwhileStays)
{
    const lab::EmulatedDrive drive = add();
    putAndStop(drive);
    const std::string other = directoryIn(put, drive) + "/to/large";
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
        EXPECT_TRUE(ended(finish(put), signal == 0 ? 1 : 130, "1 of 2 done\n  not done: " + folder + "/large"));
        drives.set(drive, "write-protect=no");
        EXPECT_FALSE(isMounted(drive));
        EXPECT_EQ("to to/small", namesOn(drive));
        drives.removeAll();
    }
}

TEST_F(ToolTest, AllObstaclesAreToldBeforeAnythingIsWritten)
{
    const lab::EmulatedDrive drive = add();
    file("tree/GOOD", 1);
    file("tree/good", 1);
    file("tree/what?", 1);
    fs::resize_file(file("tree/huge", 0), 4'294'967'296);
    fs::create_symlink("good", folder + "/tree/link");
    lab::runCommand({"mkfifo", folder + "/tree/fifo"});
    fs::permissions(file("tree/closed", 1), fs::perms::none);
    letOthersRunTheTool();
    const std::string asOthers = "setpriv --bounding-set=-dac_override,-dac_read_search";
    const ToolResult put = run("put " + drive.genericNode + " " + folder + "/tree " + folder + "/none", asOthers);
    for (const char* const said : {"7 obstacles, and nothing was written", "have the same name on FAT", "holds ?",
                                   "4 GiB", "link: is a symbolic link", "fifo: is neither",
                                   "closed: open: Permission denied", "none: open: No such file"})
        EXPECT_TRUE(ended(put, 2, said));
    EXPECT_EQ("", namesOn(drive));
}

TEST_F(ToolTest, AnEarlierPutIsGoneOnWithByTimes)
{
    const lab::EmulatedDrive drive = add();
    const std::string put = "put " + drive.genericNode + " " + folder + "/tree --skip-existing";
    file("tree/sub/other", 5);
    lab::runCommand({"touch", "-d", "2001-02-03 04:05:07.9 UTC", file("tree/sub/same", 5), folder + "/tree/sub"});
    EXPECT_TRUE(ended(run(put), 0, "put 2 files"));
    EXPECT_TRUE(ended(run("ls " + drive.genericNode + " tree/sub", "TZ=UTC"), 0, "2001-02-03T04:05:06+0000  same"));
    EXPECT_TRUE(ended(run("ls " + drive.genericNode + " tree", "TZ=UTC"), 0, "2001-02-03T04:05:06+0000  sub/"));
    file("tree/sub/new", 5);
    EXPECT_TRUE(ended(run(put), 0, "put 1 files, 5 bytes, compared; 2 files were there already"));
    lab::runCommand({"touch", "-d", "2001-02-03 04:05:10 UTC", folder + "/tree/sub/same"});
    EXPECT_TRUE(ended(run(put), 2, "same: is there already with another size or time"));
    EXPECT_TRUE(ended(run(put + " --force"), 0, "put 1 files, 5 bytes, compared; 2 files were there already"));
    EXPECT_EQ("tree tree/sub tree/sub/new tree/sub/other tree/sub/same", namesOn(drive));
}

TEST_F(ToolTest, WhatIsLeftAndStaysIsMarkedAndInNobodysWay)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
    const std::string left = directoryOf(drive) + "/.krmo-incomplete";
    fs::create_directory(left);
    lab::runCommand({"mount", "-t", "tmpfs", "none", left});
    const std::string said = run("put " + drive.genericNode + " " + file("small", 5)).said;
    EXPECT_NE(std::string::npos, said.find("is not used: ")) << said;
    EXPECT_EQ(said.find("is not used: "), said.rfind("is not used: ")) << said;
    lab::runCommand({"umount", left});
    EXPECT_TRUE(ended(run("ls " + drive.genericNode), 0, ".krmo-incomplete/  (incomplete)"));
    for (const char* const name : {".krmo-incomplete", "KRMO-I~1/x"})
        EXPECT_TRUE(
            ended(run("get " + drive.genericNode + " " + name + " --to " + folder + "/back"), 2, "not complete"));
    EXPECT_TRUE(ended(run("get " + drive.genericNode + " / --to " + folder + "/back"), 0, "got 1 files"));
}

TEST_F(ToolTest, ThatTheDataAreThereIsToldThoughTheUnmountFails)
{
    const lab::EmulatedDrive drive = add();
    const std::string count = folder + "/count";
    lab::replaceProgram("/bin/umount", "echo >>" + count + "; exec \"$0.away\" \"$@\"");
    const std::string put = "put --force " + drive.genericNode + " " + file("small", 5);
    ASSERT_TRUE(ended(run(put), 0));
    const std::string last = std::to_string(fs::file_size(count));
    lab::restoreFiles();
    fs::remove(count);
    lab::replaceProgram("/bin/umount",
                        "echo >>" + count + "; [ $(wc -l <" + count + ") = " + last + " ] || exec \"$0.away\" \"$@\"");
    const ToolResult ends = run(put);
    EXPECT_TRUE(ended(ends, 1, "put 1 files, 5 bytes, compared\nkrmo: put: not unmounted"));
}

TEST_F(ToolTest, TheDriveIsKeptBusyAsOneGoes)
{
    const lab::EmulatedDrive drive = add();
    putAndStop(drive); // behind 5 MiB, of which 3 may be under way
    std::ifstream statistics("/sys/block/" + drive.blockNode.substr(5) + "/stat");
    std::vector<std::uint64_t> numbers{std::istream_iterator<std::uint64_t>(statistics), {}};
    ASSERT_LT(6U, numbers.size());
    EXPECT_LT(2'000'000U / 512, numbers[6]) << "sectors written";
    put.kill(SIGTERM);
    EXPECT_EQ(130, finish(put).status);
}
