// The drives that tests make at run time, as the kernel sees them. Runs inside the lab, as root.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "lab/drives/CommandLog.h"
#include "lab/drives/DriveRequest.h"
#include "lab/drives/EmulatedDrives.h"
#include "lab/drives/Media.h"
#include "lab/drives/Sysfs.h"
#include "lab/drives/Waiting.h"
#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace {

using lab::EmulatedDrive;

struct EmulatedDrivesTest : testing::Test {
    ~EmulatedDrivesTest() override { drives.removeAll(); }

    EmulatedDrive add(const std::string& description) { return drives.add(lab::parseDrive(description)); }

    void insert(const EmulatedDrive& drive, const std::string& description)
    {
        drives.insert(drive, lab::makeMedium(lab::parseDrive(description)));
    }

    lab::EmulatedDrives drives;
};

std::string typeOfFileSystem(const std::string& node)
{
    return lab::runCommand({"blkid", "--probe", "--match-tag", "TYPE", "--output", "value", node});
}

/// Opens a drive as those do who want its medium; 0, or errno.
int openFault(const EmulatedDrive& drive)
{
    const lab::Descriptor node(::open(drive.blockNode.c_str(), O_RDONLY | O_CLOEXEC));
    return node.isOpen() ? 0 : errno;
}

std::string attribute(const EmulatedDrive& drive, const std::string& name)
{
    return lab::readAttribute("/sys/block/" + drive.blockNode.substr(5) + "/" + name);
}

/// Reads or writes a drive past the kernel's cache, from the medium's first block on; the number of bytes, or -errno.
ssize_t transfer(const EmulatedDrive& drive, bool writes)
{
    alignas(4096) static std::array<char, 8192> data;
    const lab::Descriptor node(::open(drive.blockNode.c_str(), (writes ? O_WRONLY : O_RDONLY) | O_DIRECT | O_CLOEXEC));
    if (!node.isOpen()) {
        return -errno;
    }
    const ssize_t count = writes ? ::pwrite(node.number(), data.data(), data.size(), 0)
                                 : ::pread(node.number(), data.data(), data.size(), 0);
    return count < 0 ? -errno : count;
}

std::ptrdiff_t readsIn(const std::vector<lab::ArrivedCommand>& commands)
{
    return std::count_if(commands.begin(), commands.end(),
                         [](const lab::ArrivedCommand& command) { return command.bytes[0] == 0x28; });
}

TEST_F(EmulatedDrivesTest, AreWhatIsDescribed)
{
    const EmulatedDrive disk = add("partitions=2");
    const EmulatedDrive optical = add("type=mo,label=gpt,fs=ext4,size=64,sector-size=2048,write-protect");
    const EmulatedDrive blank = add("label=none,fs=none,luns=2");
    EXPECT_EQ("vfat\n", typeOfFileSystem(disk.partitionNode(2)));
    EXPECT_EQ("ext4\n", typeOfFileSystem(optical.partitionNode(1)));
    EXPECT_THROW(typeOfFileSystem(blank.blockNode), std::runtime_error);
    EXPECT_EQ("0 1 65536 0", attribute(disk, "device/type") + " " + attribute(disk, "removable") + " " +
                                 attribute(disk, "size") + " " + attribute(disk, "ro"));
    EXPECT_EQ("7 2048 131072 1", attribute(optical, "device/type") + " " +
                                     attribute(optical, "queue/logical_block_size") + " " + attribute(optical, "size") +
                                     " " + attribute(optical, "ro"));
    EXPECT_EQ(4U, drives.list().size());
    EXPECT_THROW(add("unreadable=x"), std::runtime_error);
}

TEST_F(EmulatedDrivesTest, HaveAMediumInEachUnit)
{
    add("luns=2");
    const std::vector<EmulatedDrive> units = drives.list();
    lab::formatNode(units[1].partitionNode(1), lab::FileSystem::ext4);
    EXPECT_EQ("vfat\n", typeOfFileSystem(units[0].partitionNode(1)));
    EXPECT_EQ("ext4\n", typeOfFileSystem(units[1].partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, KeepTheirMediumWhenUnplugged)
{
    const EmulatedDrive drive = add("");
    lab::formatNode(drive.partitionNode(1), lab::FileSystem::ext4);
    drives.unplug(drive);
    EXPECT_FALSE(std::filesystem::exists(drive.blockNode));
    EXPECT_TRUE(drives.list().empty());
    const EmulatedDrive again = drives.plugIn(drive);
    EXPECT_EQ(drive.address, again.address);
    EXPECT_EQ("ext4\n", typeOfFileSystem(again.partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, TakeAnotherMedium)
{
    const EmulatedDrive drive = add("empty");
    EXPECT_EQ(ENOMEDIUM, openFault(drive));
    for (const std::string sectors : {"512", "4096"}) {
        insert(drive, "size=16,fs=ext4,sector-size=" + sectors);
        EXPECT_EQ(0, openFault(drive));
        EXPECT_EQ("32768 " + sectors, attribute(drive, "size") + " " + attribute(drive, "queue/logical_block_size"));
        EXPECT_EQ("ext4\n", typeOfFileSystem(drive.partitionNode(1)));
    }
    const std::string first = drives.takeOut(drive);
    EXPECT_EQ(ENOMEDIUM, openFault(drive));
    const std::string file = first.substr(5, first.find(',') - 5);
    std::fstream(file).seekp(1 << 20) << std::string(65536, '\0'); // changed while it is out
    insert(drive, "size=20");
    EXPECT_EQ(0, openFault(drive));
    EXPECT_EQ("40960", attribute(drive, "size"));
    drives.insert(drive, first);
    EXPECT_EQ(0, openFault(drive));
    EXPECT_EQ("32768", attribute(drive, "size"));
    EXPECT_EQ("", typeOfFileSystem(drive.partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, AreLockedWhileTheyAreMounted)
{
    const EmulatedDrive drive = add("");
    ASSERT_EQ(0, ::mount(drive.partitionNode(1).c_str(), "/mnt", "vfat", 0, nullptr));
    drives.pressButton(drive);
    EXPECT_EQ("tray=closed,locked=yes", drives.state(drive).substr(0, 22));
    EXPECT_THROW(drives.takeOut(drive), std::runtime_error);
    drives.set(drive, "button-ignores-lock");
    drives.pressButton(drive);
    EXPECT_EQ("tray=open,locked=yes", drives.state(drive).substr(0, 20));
    EXPECT_LT(transfer(drive, false), 0);
    ::umount2("/mnt", MNT_DETACH);
}

TEST_F(EmulatedDrivesTest, AreEjectedByTheTool)
{
    const EmulatedDrive drive = add("type=mo");
    lab::runCommand({"eject", "--scsi", drive.blockNode});
    EXPECT_EQ("tray=open,locked=no", drives.state(drive).substr(0, 19));
    EXPECT_EQ(ENOMEDIUM, openFault(drive));
}

TEST_F(EmulatedDrivesTest, LogWhatArrivesAndWhatTheyAnswer)
{
    const EmulatedDrive drive = add("");
    drives.answer(drive, "command=1b......02,sense=5/53/02");
    lab::CommandLog log;
    EXPECT_THROW(lab::runCommand({"eject", "--scsi", drive.blockNode}), std::runtime_error);
    const std::vector<lab::ArrivedCommand> commands = log.take();
    const bool hasEject = std::any_of(commands.begin(), commands.end(), [&drive](const lab::ArrivedCommand& command) {
        return command.address == drive.address && command.bytes == std::vector<uint8_t>{0x1b, 0, 0, 0, 2, 0} &&
               command.answer == "02 5/53/02";
    });
    EXPECT_TRUE(hasEject);
    EXPECT_TRUE(log.take().empty());
}

TEST_F(EmulatedDrivesTest, HaveFaultsUntilTheyAreHealed)
{
    const EmulatedDrive drive = add("label=none,fs=none");
    const struct {
        const char* setting;
        bool writes;
        ssize_t result;
    } cases[] = {
        {"unreadable=0", false, -ENODATA},
        {"unreadable=8+1", false, -ENODATA},
        {"unreadable=16", false, 8192},
        {"unwritable=3", true, -EIO},
        {"lose-writes=all", true, 8192},
        {"transport=offline", false, -ENOMEDIUM},
        {"delay=1", false, 8192},
        {"rate=1", true, 8192},
        {"write-protect", true, -EREMOTEIO},
    };
    for (const auto& one : cases) {
        drives.set(drive, one.setting);
        EXPECT_EQ(one.result, transfer(drive, one.writes)) << one.setting;
        drives.heal(drive);
        drives.set(drive, "write-protect=no");
        EXPECT_EQ(8192, transfer(drive, one.writes)) << one.setting;
    }
}

// The disk driver takes the blocks before the bad one for read, so they must have come.
TEST_F(EmulatedDrivesTest, GiveTheDataThatStandBeforeABadBlock)
{
    const EmulatedDrive drive = add("label=none,fs=none,unreadable=8");
    lab::runCommand({"dd", "of=" + drive.blockNode, "bs=4096", "oflag=direct"}, std::string(4096, 'x'));
    std::array<unsigned char, 10> command{0x28, 0, 0, 0, 0, 0, 0, 0, 16, 0};
    std::array<unsigned char, 32> sense{};
    std::string data(8192, '-');
    sg_io_hdr request{};
    request.interface_id = 'S';
    request.dxfer_direction = SG_DXFER_FROM_DEV;
    request.cmdp = command.data();
    request.cmd_len = command.size();
    request.sbp = sense.data();
    request.mx_sb_len = sense.size();
    request.dxferp = data.data();
    request.dxfer_len = static_cast<unsigned int>(data.size());
    request.timeout = 30000;
    const lab::Descriptor node = lab::openFile(drive.genericNode, O_RDWR);
    ASSERT_EQ(0, ::ioctl(node.number(), SG_IO, &request));
    EXPECT_EQ(3, sense[2]) << "the sense key, " << int{sense[0]};
    EXPECT_EQ(std::string(4096, 'x'), data.substr(0, 4096));
}

TEST_F(EmulatedDrivesTest, AnswerNothingUntilTheKernelGivesUp)
{
    const EmulatedDrive drive = add("label=none,fs=none");
    lab::writeAttribute(lab::unitFolder(drive.address) + "/timeout", "1");
    drives.answer(drive, "command=28,unanswered");
    lab::CommandLog log;
    EXPECT_EQ(8192, transfer(drive, false)); // by the kernel's second attempt
    EXPECT_EQ(2, readsIn(log.take()));
}

TEST_F(EmulatedDrivesTest, LetNobodyWaitWhenTheyAreHealedOrGo)
{
    for (const bool isHealed : {true, false}) {
        const EmulatedDrive drive = add("label=none,fs=none");
        drives.answer(drive, "command=28,unanswered");
        lab::CommandLog log;
        lab::Process reader(lab::Program{{"dd", "if=" + drive.blockNode, "of=/dev/null", "count=1", "status=none"}});
        lab::waitUntil("a read arrives", [&log] { return readsIn(log.take()) > 0; });
        isHealed ? drives.heal(drive) : drives.unplug(drive);
        const int status = reader.wait();
        EXPECT_TRUE(status == 0 || !isHealed);
    }
}

TEST_F(EmulatedDrivesTest, UnderstandWordsOfTheShell)
{
    const EmulatedDrive drive = add("");
    const std::string script =
        "lab-drive insert " + drive.blockNode + " size=8,fs=none && medium=$(lab-drive take-out " + drive.genericNode +
        ") && lab-drive insert " + drive.address + " $medium && lab-drive state " + drive.address;
    EXPECT_EQ(0U, lab::runCommand({"sh", "-c", script + " | tail -n 1"}).find("tray=closed,"));
    for (const char* const request : {"", "dance", "set 9:9:9:9 delay=1", "set", "add type=tape empty", "log x"}) {
        EXPECT_THROW(lab::requestOfDrives(request), std::runtime_error) << request;
    }
}

} // namespace
