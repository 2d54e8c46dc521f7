// A medium whose names were made to harm: no command of its maker's runs, and what is mounted is a partition of that
// very disk, or nothing.

#include <dlfcn.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "lab/drives/Faults.h"
#include "lab/drives/Media.h"
#include "lab/drives/Waiting.h"
#include "lab/support/Process.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;

static std::string commands;

extern "C" FILE* popen(const char* line, const char* mode)
{
    commands += std::string(line) + "\n";
    static const auto next = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "popen"));
    return next(line, mode);
}

namespace {

using HostileMediumTest = LabTest;

std::string mounted()
{
    return lab::runCommand({"findmnt", "--noheadings", "--output", "SOURCE", "--types", "vfat"});
}

TEST_F(HostileMediumTest, NamesOfPartitionsRunNothing)
{
    const auto unit = drives.add({lab::DriveType::disk, lab::Label::none, lab::FileSystem::none});
    const auto other = drives.add();
    const auto neighbour = open(other.blockNode);
    ASSERT_TRUE(neighbour != nullptr && neighbour->mount() == 0);
    lab::replaceProgram("/sbin/fdisk", // of the days when it left a GPT to parted
                        "echo 'Disk " + unit.blockNode +
                            ": 33 MB, 33554432 bytes\n255 heads, 63 sectors/track, 4 cylinders\n\n" + unit.blockNode +
                            "1 1 5 32767+ ee  EFI GPT'");
    const std::string neighbours = other.partitionNode(1) + "\n";
    // parted 3.5 writes past its table where a name has a line break, and often dies of it. With pages of the table's
    // own there is room.
    lab::replaceProgram("/sbin/parted", "GLIBC_TUNABLES=glibc.malloc.mmap_threshold=512 exec \"$0.away\" \"$@\"");
    const struct {
        std::string name; ///< of the partition behind the first
        int number;       ///< its own: parted 3 prints a blank before one digit, so that such a row is no partition
        int mounted;      ///< the number of the partition that is; 0: none
    } cases[] = {
        {std::string(36, 'w'), 10, 10},
        {"';touch /pwned;'\"`touch /pwned`|&<>(", 10, 10},
        {"\n1`touch\t/pwned`\n2|touch\t/pwned\n1&x", 10, 10},
        {"\x1b]0;x\x07%s%n%s%n\x1b[2J", 10, 10},
        {"x\n1;>/pwned\n1 1 2", 2, 1},
        {"x\n1$(touch${IFS}/pwned)\n1 1 2", 2, 1},
        {"x\n 1 1 2 `touch /pwned`\n1 1 2", 2, 1},
        {"x\nDisk " + other.blockNode + ": 9\n" + other.partitionNode(1) + " 1\n1 1 2", 2, 1},
        {"x\n7 17.4kB 1MB fat32 /dev/sda1;touch", 2, 0},
        {"x\n255 heads, 63 sectors/track, 4 cyl", 2, 0},
        {"x\n1/.." + other.partitionNode(1).substr(4) + " 1 2", 2, 0},
        {"x\n1 17.4kB 1MB fat32 /dev/sda1;touch", 2, 1},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.name));
        const std::string number = std::to_string(one.number);
        lab::runCommand({"sfdisk", "--quiet", unit.blockNode},
                        "label: gpt\n1: start=1MiB, size=4MiB\n" + number + ": size=20MiB\n");
        lab::runCommand({"sfdisk", "--quiet", "--no-reread", "--part-label", unit.blockNode, number, one.name});
        for (const int partition : {1, one.number}) {
            lab::waitForFile(unit.partitionNode(partition));
            lab::formatNode(unit.partitionNode(partition), lab::FileSystem::vfat);
        }
        const std::string both = neighbours + (one.mounted == 0 ? "" : unit.partitionNode(one.mounted) + "\n");
        const auto drive = open(unit.genericNode);
        ASSERT_NE(drive, nullptr);
        EXPECT_EQ(drive->mount(), one.mounted == 0 ? 930U : 0U);
        EXPECT_EQ(mounted(), both);
        drive->unmount();
        EXPECT_EQ(mounted(), neighbours);
        EXPECT_TRUE(
            ended(run("put --no-verify --force " + unit.genericNode + " /etc/hostname"), one.mounted == 0 ? 1 : 0));
        EXPECT_EQ(mounted(), neighbours);
    }
    EXPECT_EQ(commands.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789/ -KRMT.\n"), std::string::npos)
        << commands;
    for (const std::string command : {"drives ", "info ", "mount ", "unload "})
        EXPECT_TRUE(ended(run(command + (command == "drives " ? "" : unit.genericNode)), 0)) << command;
    EXPECT_TRUE(mounted() == neighbours && !fs::exists("/pwned"));
}

TEST_F(HostileMediumTest, PlantedAtTheMountDirectory)
{
    const auto unit = drives.add();
    const fs::path parent = unit.partitionNode(1).substr(4);
    const fs::path directory = parent / "KRMT";
    const auto drive = open(unit.blockNode);
    const struct {
        fs::path place;
        bool isLink; ///< that leads elsewhere, or else a file
        std::string said;
        unsigned long code;
    } cases[] = {{directory, true, directory.string() + " is a symbolic link", 930},
                 {parent, true, parent.string() + " is a symbolic link", 930},
                 {directory, false, "930: Either the media is not FAT32 formated", 930},
                 {parent, false, "20: Not a directory", ENOTDIR}};
    for (const auto& one : cases) {
        fs::remove_all(parent);
        fs::create_directories("/tmp/elsewhere");
        fs::create_directories(one.place.parent_path());
        one.isLink ? fs::create_symlink("/tmp/elsewhere", one.place) : std::ofstream(one.place).close();
        EXPECT_TRUE(ended(run("put " + unit.blockNode + " /etc/hostname"), 1, one.said));
        EXPECT_EQ(mountOf(unit.partitionNode(1)), "");
        EXPECT_EQ(drive->mount(), one.code);
        drive->unmount();
        EXPECT_EQ(umount(directory.c_str()) == 0, one.isLink) << "a mount goes where a link leads, and stays";
        fs::remove(one.place);
    }
}

TEST_F(HostileMediumTest, NamesOfFilesAreNeitherRunNorShownRaw)
{
    const auto unit = drives.add();
    fs::create_directories("/tmp/from/in");
    for (const char* const name : {"$(touch pwned)", ";touch pwned", "a'b`id`&{x,y}[!]~#%s%n", "AXB[2"})
        std::ofstream(std::string("/tmp/from/in/") + name) << name;
    EXPECT_TRUE(ended(run("put " + unit.genericNode + " /tmp/from/in"), 0));
    std::fstream medium(unit.blockNode, std::ios::in | std::ios::out | std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(medium), {});
    const std::string name("X\0B\0[\0", 6); // the kernel makes none with an escape
    medium.clear();
    for (std::size_t at = bytes.find(name); at != std::string::npos; at = bytes.find(name, at + 1))
        medium.seekp(static_cast<std::streamoff>(at)).put('\x1b');
    medium.close();

    const std::string list = "'" KRMO_TOOL "' ls " + unit.genericNode + " in";
    const std::string shown = lab::runCommand({"script", "--quiet", "--return", "--command", list, "/dev/null"});
    EXPECT_NE(shown.find("A\\x1bB[2"), std::string::npos) << shown;
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
    EXPECT_TRUE(ended(run("get " + unit.genericNode + " in --to /tmp"), 0, "4 files"));
    EXPECT_FALSE(fs::exists("pwned"));
}

} // namespace
