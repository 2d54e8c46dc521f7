// Where krmo mounts, who sees it, and what becomes of a host beside it.

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "lab/drives/Faults.h"
#include "lab/drives/Media.h"
#include "lab/drives/Waiting.h"
#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

struct MountTest : ToolTest {
    ~MountTest() override { setRootShared(false); }

    /// As systemd has it, or as the kernel begins.
    static void setRootShared(bool isShared)
    {
        mount(nullptr, "/", nullptr, MS_REC | (isShared ? MS_SHARED : MS_PRIVATE), nullptr);
    }

    /// Whether the partition is mounted in no name space and nobody keeps it otherwise.
    static bool isFree(const lab::EmulatedDrive& drive)
    {
        return lab::Descriptor(::open(drive.partitionNode(1).c_str(), O_RDONLY | O_EXCL)).number() != -1;
    }

    static void hostMounts(const lab::EmulatedDrive& drive)
    {
        fs::create_directories(directoryOf(drive));
        lab::runCommand({"mount", "-t", "vfat", drive.partitionNode(1), directoryOf(drive)});
    }

    static constexpr int fat16Identifier = 39; ///< its offset

    static void exchangeIdentifier(const lab::EmulatedDrive& drive, int offset)
    {
        const std::string sector = "dd if=" + drive.blockNode + " skip=2048 count=1";
        lab::overwriteSectors(drive.blockNode, 2048, 1,
                              sector + " | head -c " + std::to_string(offset) + "; printf else; " + sector +
                                  " | tail -c +" + std::to_string(offset + 5));
    }

    static void append(const std::string& path) { EXPECT_TRUE(std::ofstream(path, std::ios::app) << "x") << path; }

    lab::SteppedProgram& tool = put;
};

TEST_F(MountTest, NobodyElseSeesAMountAndAKilledToolLeavesNone)
{
    const lab::EmulatedDrive drive = add();
    for (const bool shared : {false, true}) {
        SCOPED_TRACE(shared ? "shared root" : "private root");
        setRootShared(shared);
        lab::formatNode(drive.partitionNode(1), lab::FileSystem::vfat);
        putAndStop(drive);
        EXPECT_FALSE(isMounted(drive));
        EXPECT_TRUE(fs::is_empty(directoryOf(drive)));
        tool.kill(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, tool.finish());
        EXPECT_TRUE(isFree(drive));
    }
}

TEST_F(MountTest, AKilledToolLeavesNoMountOnceItsProgramHasEnded)
{
    const lab::EmulatedDrive drive = add();
    const std::string fifo = folder + "/fifo";
    lab::runCommand({"mkfifo", fifo});
    lab::replaceProgram("/bin/umount", "read line <" + fifo);
    tool.start("exec '" KRMO_TOOL "' ls " + drive.genericNode);
    std::ofstream gate(fifo); // there once umount is
    tool.kill(SIGKILL);
    tool.finish();
    EXPECT_FALSE(isFree(drive) || isMounted(drive));
    gate.close();
    lab::waitUntil("the mount is gone", [&] { return isFree(drive); });
}

TEST_F(MountTest, AHostThatMountsMeanwhileKeepsItsMount)
{
    const lab::EmulatedDrive drive = add();
    const std::string directory = directoryOf(drive);
    ASSERT_TRUE(ended(run("put " + drive.genericNode + " " + file("kept", 9)), 0));
    const std::string commands[] = {"ls " + drive.genericNode,
                                    "get --force --to " + folder + "/back " + drive.genericNode + " kept",
                                    "put --force " + drive.genericNode + " " + file("more", 9)};
    std::string written;
    for (const bool shared : {false, true}) {
        for (const std::string& command : commands) {
            SCOPED_TRACE(command + (shared ? ", shared root" : ", private root"));
            setRootShared(shared);
            tool.start("exec '" KRMO_TOOL "' --verbose " + command);
            tool.runBehind("already mounted at", 1);
            hostMounts(drive);
            EXPECT_EQ(0, umount(directory.c_str()));
            hostMounts(drive);
            append(directory + "/host");
            EXPECT_EQ(command[0] == 'p', std::ofstream(directoryIn(tool, drive) + "/written").is_open());
            EXPECT_TRUE(ended(finish(tool), 0));
            EXPECT_TRUE(isMounted(drive));
            append(directory + "/host");
            EXPECT_EQ(0, umount(directory.c_str()));
            EXPECT_TRUE(isFree(drive));
            EXPECT_EQ(written += "xx", lab::contentOf(drive.partitionNode(1)).at("host"));
        }
    }
}

TEST_F(MountTest, AHostThatHasMountedCanWriteAndNotUnmount)
{
    const lab::EmulatedDrive drive = add();
    const std::string directory = directoryOf(drive);
    for (const bool shared : {false, true}) {
        SCOPED_TRACE(shared ? "shared root" : "private root");
        setRootShared(shared);
        hostMounts(drive);
        tool.start("ANNOUNCED=fstatfs LD_PRELOAD=$LD_PRELOAD:'" KRMO_STAND_IN "' exec '" KRMO_TOOL "' ls " +
                   drive.genericNode);
        tool.runBehind("fstatfs", 1);
        EXPECT_EQ(-1, umount(directory.c_str()));
        EXPECT_EQ(EBUSY, errno);
        append(directory + "/host");
        EXPECT_TRUE(ended(finish(tool), 0, "host"));
        EXPECT_TRUE(isMounted(drive));
        EXPECT_EQ(0, umount(directory.c_str()));
        EXPECT_TRUE(isFree(drive));
    }
}

TEST_F(MountTest, AnUnmountTellsWhoStillHasTheMedium)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
    tool.start("exec unshare --mount sh -c 'echo apart; exec yes'");
    tool.runBehind("apart", 1);
    const std::string space = "name space of process " + std::to_string(tool.process());
    const ToolResult result = run("unmount " + drive.genericNode);
    EXPECT_TRUE(ended(result, 1, space));
    EXPECT_EQ(std::string::npos, result.said.find("unmounted"));
    EXPECT_FALSE(isMounted(drive));
    EXPECT_TRUE(ended(run("info " + drive.genericNode), 0, space));
    tool.kill(SIGKILL);
    tool.finish();
}

TEST_F(MountTest, WhoeverKeepsTheMediumOtherwiseIsNamed)
{
    const lab::EmulatedDrive drive = add();
    const std::string mine = "process " + std::to_string(getpid());
    for (const std::string& node : {drive.blockNode, drive.partitionNode(1)}) {
        const lab::Descriptor holder(::open(node.c_str(), O_RDONLY | O_EXCL));
        for (const std::string command : {"mount ", "ls "})
            EXPECT_TRUE(ended(run(command + drive.genericNode), 1, mine)) << command << node;
    }
}

TEST_F(MountTest, AMediumThatMayBeDamagedIsToldOfBeforeItIsWrittenTo)
{
    const lab::EmulatedDrive drive = add();
    const std::string unit = drive.genericNode + " ";
    const std::string fsck = "run fsck.fat " + drive.partitionNode(1);
    for (const auto& [bits, mark] : {std::make_pair("16", "37"), std::make_pair("32", "65")}) {
        SCOPED_TRACE(bits);
        lab::runCommand({"mkfs.vfat", "-F", bits, drive.partitionNode(1)});
        ASSERT_TRUE(ended(run("mount " + unit), 0));
        EXPECT_EQ(std::string::npos, run("info " + unit).said.find(fsck)) << "a mounted one has the mark";
        ASSERT_TRUE(ended(run("unmount " + unit), 0));
        EXPECT_EQ(std::string::npos, run("ls " + unit).said.find(fsck));

        const std::string to = " of=" + drive.partitionNode(1);
        lab::runCommand({"sh", "-c", "printf '\\1' | dd conv=fsync,notrunc bs=1 seek=" + std::string(mark) + to});
        const ToolResult result = run("--verbose put " + unit + file("some", 50'000));
        EXPECT_TRUE(ended(result, 0, fsck));
        EXPECT_LT(result.said.find(fsck), result.said.find("Issuing Mount"));
        for (const std::string command : {"ls --json ", "info --json "})
            EXPECT_TRUE(ended(run(command + unit + "2>/dev/null"), 0, fsck)) << command;
    }
    const std::string table = "dd if=" + drive.blockNode + " skip=2080 count=1";
    lab::overwriteSectors(drive.blockNode, 2080, 1, table + " | head -c 12; cat /dev/zero"); // all but the root's
    ASSERT_TRUE(ended(run("mount " + unit), 0, fsck));
    EXPECT_THROW(lab::runCommand({"cat", directoryOf(drive) + "/some"}), std::runtime_error);
    EXPECT_TRUE(ended(run("put " + unit + folder + "/some --force"), 1, fsck));
}

TEST_F(MountTest, AMediumThatWasExchangedUnderAMountIsNotWrittenTo)
{
    const lab::EmulatedDrive drive = add();
    const std::string put = "put --force " + drive.genericNode + " " + file("some", 9);
    for (const auto& [bits, identifier] : {std::make_pair("16", fat16Identifier), std::make_pair("32", 67)}) {
        SCOPED_TRACE(bits);
        lab::runCommand({"mkfs.vfat", "-F", bits, drive.partitionNode(1)});
        ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
        EXPECT_TRUE(ended(run(put), 0));
        exchangeIdentifier(drive, identifier);
        fs::remove(directoryOf(drive) + "/some");
        EXPECT_TRUE(ended(run(put), 1, "another medium is in the drive"));
        EXPECT_TRUE(fs::is_empty(directoryOf(drive)));
        unmountAll();
    }
}

// To remove what was begun is to write, too.
TEST_F(MountTest, AMediumThatIsExchangedMeanwhileIsLeftAsItIs)
{
    const lab::EmulatedDrive drive = add();
    file("large", 30'000'000);
    for (const bool isHosts : {true, false}) {
        SCOPED_TRACE(isHosts ? "a host's mount" : "a mount of its own");
        lab::runCommand({"mkfs.vfat", "-F", "16", drive.partitionNode(1)});
        if (isHosts)
            hostMounts(drive);
        tool.start("exec '" KRMO_TOOL "' put --verbose --no-verify " + drive.genericNode + " " + folder + "/large");
        tool.runBehind("KRScsiMODiskDrive::writeFile()", 6);
        exchangeIdentifier(drive, fat16Identifier);
        EXPECT_TRUE(ended(finish(tool), 1, "could not be removed: another medium is in the drive"));
        unmountAll();
        EXPECT_EQ(".krmo-incomplete .krmo-incomplete/large", namesOn(drive));
    }
    hostMounts(drive);
    tool.start("exec '" KRMO_TOOL "' put --verbose --force " + drive.genericNode + " " + folder + "/large");
    tool.runBehind("KRScsiMODiskDrive::writeFile()", 6);
    drives.unplug(drive);
    EXPECT_TRUE(ended(finish(tool), 1, "could not be removed: " + drive.partitionNode(1) + ": No such file"));
}

TEST_F(MountTest, EverySignalThatCanBeCaughtLeavesNothingBehind)
{
    const lab::EmulatedDrive drive = add();
    for (const int signal : {SIGUSR1, SIGALRM, SIGXCPU, SIGPWR, SIGRTMIN}) {
        putAndStop(drive);
        tool.kill(signal);
        EXPECT_TRUE(ended(finish(tool), 130, "interrupted")) << strsignal(signal);
        EXPECT_TRUE(isFree(drive)) << strsignal(signal);
        EXPECT_EQ("to to/small", namesOn(drive)) << strsignal(signal);
        lab::formatNode(drive.partitionNode(1), lab::FileSystem::vfat);
    }
    const std::string limited = "put " + drive.genericNode + " " + folder + "/large";
    EXPECT_TRUE(ended(run(limited, "prlimit --fsize=1000000"), 1, "File too large"));
    EXPECT_EQ("", namesOn(drive));
}

TEST_F(MountTest, NothingWaitsForAHeldScanOrForTheReaderOfALog)
{
    const lab::EmulatedDrive drive = add();
    fs::create_directory("/temp");
    std::ofstream("/temp/test.sleep").close();
    tool.start("exec '" KRMO_TOOL "' ls --verbose " + drive.genericNode);
    tool.runBehind("In call", 1);
    tool.kill(SIGTERM);
    EXPECT_TRUE(ended(finish(tool), 130, "interrupted"));
    fs::remove_all("/temp");

    const std::string fifo = folder + "/fifo";
    lab::runCommand({"mkfifo", fifo});
    EXPECT_TRUE(ended(run("drives --log " + fifo), 3, "nobody reads"));
    const lab::Descriptor reader(::open(fifo.c_str(), O_RDWR));
    fcntl(reader.number(), F_SETPIPE_SZ, 1);
    EXPECT_TRUE(ended(run("ls " + drive.genericNode + " --log " + fifo), 0));
}

TEST_F(MountTest, AFixedDiskIsUsedOnlyIfThatIsAskedFor)
{
    const lab::EmulatedDrive drive = add();
    const std::string unit = " " + drive.genericNode + " ";
    const std::string removable = "/sys/block/" + drive.blockNode.substr(5) + "/removable";
    const std::string serial = json::parse(run("drives --json").said)["drives"].at(0)["serial"];
    std::ofstream(folder + "/fixed") << "0\n";
    lab::runCommand({"mount", "--bind", folder + "/fixed", removable});
    const std::string commands[] = {"info" + unit,
                                    "mount" + unit,
                                    "unmount" + unit,
                                    "ls" + unit,
                                    "put" + unit + folder + "/fixed",
                                    "get --to " + folder + "/back" + unit + "/",
                                    "unload" + unit};
    for (const std::string& command : commands)
        EXPECT_TRUE(ended(run(command), 2, "--fixed")) << command;
    EXPECT_TRUE(ended(run("ls " + serial), 3));
    EXPECT_TRUE(ended(run("drives"), 0, "no removable SCSI drives"));
    EXPECT_TRUE(ended(run("drives --fixed"), 0, drive.blockNode));
    EXPECT_TRUE(ended(run("ls --fixed " + serial), 0));
    umount(removable.c_str());
}

TEST_F(MountTest, TheCallersPathIsNotSearched)
{
    const lab::EmulatedDrive drive = add();
    for (const char* const program : {"mount", "umount", "parted", "eject"}) {
        std::ofstream(folder + "/" + program) << "#!/bin/sh\ntouch " << folder << "/back/ran\n";
        fs::permissions(folder + "/" + program, fs::perms::owner_all);
    }
    EXPECT_TRUE(ended(run("ls " + drive.genericNode, "env PATH=" + folder + ":/usr/bin:/bin:/usr/sbin:/sbin"), 0));
    EXPECT_TRUE(fs::is_empty(folder + "/back"));
}

TEST_F(MountTest, InfoTellsWhatIsThere)
{
    const lab::EmulatedDrive drive = add();
    const std::string info = "info " + drive.blockNode;
    lab::runCommand({"mount", drive.partitionNode(1), folder + "/back"});
    EXPECT_TRUE(ended(run(info), 0, "mounted elsewhere  " + drive.partitionNode(1) + " on " + folder + "/back"));
    lab::runCommand({"umount", folder + "/back"});

    const std::string another = drive.blockNode + "a1";
    lab::replaceProgram("/sbin/fdisk", "echo '" + another + " 1 1 1 c FAT'"); // of the 27th disk, say
    EXPECT_EQ(std::string::npos, run(info).said.find(another.substr(4)));
    lab::restoreFiles();

    setRunning(drive.genericNode, false);
    EXPECT_TRUE(ended(run("info " + drive.genericNode), 0, "NOT READY: LOGICAL UNIT NOT READY"));
}

TEST_F(MountTest, WhatIsOnAMediumWithoutAUsablePartitionIsTold)
{
    const struct {
        lab::Label label;
        int partitions;
        const char* firstSector; ///< for printf; of the first partition, which holds FAT unless told
        std::string said;
    } cases[] = {
        {lab::Label::none, 1, nullptr, "the medium has no partitions; as a whole it holds FAT"},
        {lab::Label::dos, 2, "nothing", "2 holds FAT"},
        {lab::Label::dos, 1, "\\353\\166\\220EXFAT   ", "1 holds exFAT"},
        {lab::Label::dos, 1, "\\353\\122\\220NTFS    ", "1 holds NTFS"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.said);
        const lab::EmulatedDrive drive = add({lab::DriveType::disk, one.label, lab::FileSystem::vfat, one.partitions});
        lab::runCommand({"blockdev", "--rereadpt", drive.blockNode});
        if (one.firstSector != nullptr)
            lab::overwriteSectors(drive.blockNode, 2048, 1,
                                  "printf '" + std::string(one.firstSector) + "'; cat /dev/zero");
        for (const std::string command : {"mount ", "ls ", "info "}) {
            const ToolResult result = run(command + drive.genericNode);
            EXPECT_TRUE(ended(result, command == "info " ? 0 : 1, one.said)) << command;
            EXPECT_EQ(std::string::npos, result.said.find("930"));
        }
        drives.removeAll();
    }
}

} // namespace
