// The drives that tests make at run time. Runs inside the lab, as root.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "lab/drives/CommandLog.h"
#include "lab/drives/EmulatedDrives.h"
#include "lab/drives/Media.h"
#include "lab/drives/Sysfs.h"
#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace {

using lab::DriveDescription;
using lab::DriveType;
using lab::EmulatedDrive;
using lab::FileSystem;
using lab::Label;

DriveDescription described(DriveType type, Label label, FileSystem fileSystem, int partitions = 1)
{
    DriveDescription description;
    description.type = type;
    description.label = label;
    description.fileSystem = fileSystem;
    description.partitions = partitions;
    return description;
}

std::string typeOfFileSystem(const std::string& node)
{
    return lab::runCommand({"blkid", "--probe", "--match-tag", "TYPE", "--output", "value", node});
}

class EmulatedDrivesTest : public testing::Test {
protected:
    ~EmulatedDrivesTest() override
    {
        drives.setWriteProtected(false);
        drives.removeAll();
    }

    lab::EmulatedDrives drives;
};

TEST_F(EmulatedDrivesTest, MakesWhatIsDescribed)
{
    const EmulatedDrive disk = drives.add(described(DriveType::disk, Label::dos, FileSystem::vfat, 2));
    const EmulatedDrive optical = drives.add(described(DriveType::magnetoOptical, Label::gpt, FileSystem::ext4));
    EXPECT_EQ("vfat\n", typeOfFileSystem(disk.partitionNode(2)));
    EXPECT_EQ("ext4\n", typeOfFileSystem(optical.partitionNode(1)));
    EXPECT_EQ("0", lab::readAttribute(lab::unitFolder(disk.address) + "/type"));
    EXPECT_EQ("7", lab::readAttribute(lab::unitFolder(optical.address) + "/type"));
    EXPECT_EQ("1", lab::readAttribute("/sys/block/" + disk.blockNode.substr(5) + "/removable"));
}

TEST_F(EmulatedDrivesTest, GivesANewDriveAnEmptyMediumOfItsOwn)
{
    drives.add(described(DriveType::disk, Label::dos, FileSystem::vfat));
    drives.removeAll();
    drives.add(described(DriveType::disk, Label::dos, FileSystem::vfat));
    const EmulatedDrive blank = drives.add(described(DriveType::disk, Label::none, FileSystem::none));
    EXPECT_THROW(typeOfFileSystem(blank.blockNode), std::runtime_error);
    EXPECT_EQ(2U, drives.list().size());
}

TEST_F(EmulatedDrivesTest, KeepsTheMediumOfAnUnpluggedDrive)
{
    const EmulatedDrive drive = drives.add();
    drives.unplug(drive);
    EXPECT_FALSE(std::filesystem::exists(drive.blockNode));
    EXPECT_TRUE(drives.list().empty());
    const EmulatedDrive again = drives.plugIn(drive);
    EXPECT_EQ(drive.address, again.address);
    EXPECT_EQ("vfat\n", typeOfFileSystem(again.partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, ShowsOneMediumInAllUnitsOfADrive)
{
    DriveDescription description;
    description.logicalUnits = 3;
    drives.add(description);
    ASSERT_EQ(3U, drives.list().size());
    lab::runCommand({"blockdev", "--rereadpt", drives.list()[2].blockNode});
    EXPECT_EQ("vfat\n", typeOfFileSystem(drives.list()[2].partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, ProtectsMedia)
{
    const EmulatedDrive drive = drives.add();
    drives.setWriteProtected(true);
    EXPECT_THROW(lab::writeAttribute(drive.blockNode, "x"), std::system_error);
    EXPECT_EQ("1", lab::readAttribute("/sys/block/" + drive.blockNode.substr(5) + "/ro"));
    drives.setWriteProtected(false);
    EXPECT_EQ("0", lab::readAttribute("/sys/block/" + drive.blockNode.substr(5) + "/ro"));
}

TEST_F(EmulatedDrivesTest, WipesAndFormatsMedia)
{
    const EmulatedDrive drive = drives.add();
    lab::formatNode(drive.partitionNode(1), FileSystem::ext4);
    EXPECT_EQ("ext4\n", typeOfFileSystem(drive.partitionNode(1)));
    lab::wipeMedium(drive.blockNode);
    EXPECT_FALSE(std::filesystem::exists(drive.partitionNode(1)));
}

TEST_F(EmulatedDrivesTest, LogsTheCommandsThatArrive)
{
    const EmulatedDrive drive = drives.add();
    drives.setCommandLog(true);
    lab::CommandLog log;
    lab::runCommand({"eject", "--scsi", drive.blockNode});
    const std::vector<lab::ArrivedCommand> commands = log.take();
    const bool hasEject = std::any_of(commands.begin(), commands.end(), [&drive](const lab::ArrivedCommand& command) {
        return command.address == drive.address && command.bytes.size() == 6 && command.bytes[0] == 0x1b &&
               command.bytes[4] == 2;
    });
    EXPECT_TRUE(hasEject);
    EXPECT_TRUE(log.take().empty());
    drives.setCommandLog(false);
}

TEST_F(EmulatedDrivesTest, LoadsTheEmulationAnewForOtherSettings)
{
    const EmulatedDrive drive = drives.add(lab::parseDrive("type=mo,label=none,sector-size=2048,size=16"));
    EXPECT_EQ("2048\n", lab::runCommand({"blockdev", "--getss", drive.blockNode}));
    EXPECT_EQ("vfat\n", typeOfFileSystem(drive.blockNode));
    EXPECT_THROW(drives.add(), std::runtime_error);
}

} // namespace
