// A drive's whole life on every kind of medium that the lab can show.

#include <numeric>
#include <set>

#include <sys/statvfs.h>

#include "lab/drives/CommandLog.h"
#include "lab/drives/Sysfs.h"
#include "tests/system/LabTest.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

using Drive = lab::EmulatedDrive;

struct Kind {
    const char* name;
    lab::DriveDescription drive;
    std::string (*path)(const Drive&); ///< by which the drive is opened
    int unit = 0;
};

const lab::DriveType disk = lab::DriveType::disk;
const lab::DriveType optical = lab::DriveType::magnetoOptical;
const lab::FileSystem vfat = lab::FileSystem::vfat;

std::string linkTo(const Drive& drive)
{
    const std::string link = testing::TempDir() + "drive-link";
    std::remove(link.c_str());
    return symlink(drive.blockNode.c_str(), link.c_str()) == 0 ? link : "";
}

const auto block = [](const Drive& drive) { return drive.blockNode; };
const auto generic = [](const Drive& drive) { return drive.genericNode; };
const auto bsg = [](const Drive& drive) { return "/dev/bsg/" + drive.address; };
const auto address = [](const Drive& drive) { return drive.address; };

const Kind kinds[] = {
    {"DiskWithDosLabel", {disk, lab::Label::dos, vfat}, generic},
    {"DiskWithGpt", {disk, lab::Label::gpt, vfat}, block},
    {"SeveralPartitions", {disk, lab::Label::dos, vfat, 3}, bsg},
    {"UnitOne", {disk, lab::Label::dos, vfat, 1, 2}, address, 1},
    {"OpticalWithDosLabel", {optical, lab::Label::dos, vfat}, linkTo},
    {"OpticalWithLargeSectors", {optical, lab::Label::gpt, vfat, 2, 1, 32, 2048}, block},
};

struct WholeLifeTest : LabTest, testing::WithParamInterface<Kind> {
    static void transfer(KRHardDiskDrive& drive, const std::string& path, int accessMode, std::vector<char>& data)
    {
        const int handle = drive.createFile(path, accessMode, 0);
        ASSERT_GT(handle, 0);
        for (std::size_t done = 0, length = 65536; done < data.size(); done += length) {
            char* const start = &data[done];
            length = std::min(length, data.size() - done);
            ASSERT_EQ(length,
                      accessMode == 2 ? drive.writeFile(handle, start, length) : drive.readFile(handle, start, length));
        }
        drive.closeHandle(handle);
    }
};

TEST_P(WholeLifeTest, FromTheFactoryToEject)
{
    drives.add(GetParam().drive);
    const Drive unit = drives.list().at(static_cast<std::size_t>(GetParam().unit));
    const std::string partition = unit.partitionNode(1);
    const auto drive = open(GetParam().path(unit));
    ASSERT_NE(drive, nullptr);

    std::string serial;
    EXPECT_EQ(drive->getSerialNumber(serial), 0u) << lastError(*drive);
    EXPECT_FALSE(serial.empty());

    ASSERT_EQ(drive->mount(), 0u) << lastError(*drive);
    const std::string directory = partition.substr(partition.rfind('/')) + "/KRMT";
    EXPECT_EQ(drive->getMountPath(), directory);
    EXPECT_EQ(drive->getDevicePath(), unit.blockNode);
    EXPECT_EQ(mountOf(partition), directory);
    const auto partitions = KRUnixMODiskImpl::getPartDataByDiskName(unit.blockNode);
    ASSERT_EQ(partitions.size(), static_cast<std::size_t>(GetParam().drive.partitions));
    EXPECT_EQ(partitions.front().partSize, lab::readAttribute("/sys/class/block" + partition.substr(4) + "/size"));

    const std::string path = directory + "/one/two/data.bin";
    std::vector<char> data(300'001);
    std::iota(data.begin(), data.end(), '\0');
    EXPECT_EQ(drive->createDir(directory + "/one/two"), 0);
    transfer(*drive, path, 2, data);
    EXPECT_EQ(drive->unmount(), 0u) << lastError(*drive);
    EXPECT_EQ(mountOf(partition), "");

    ASSERT_EQ(drive->mount(), 0u) << lastError(*drive);
    std::vector<char> readBack(data.size());
    transfer(*drive, path, 0, readBack);
    EXPECT_EQ(readBack, data);

    struct statvfs space {};
    KRQuadWord available;
    KRQuadWord free;
    ASSERT_EQ(statvfs(directory.c_str(), &space), 0);
    EXPECT_TRUE(drive->getDiscFreeSpace(available, free));
    EXPECT_EQ(available, space.f_bsize * space.f_bavail);
    EXPECT_EQ(free, space.f_bsize * space.f_bfree);

    lab::CommandLog commands;
    EXPECT_EQ(drive->unload(), 0u) << lastError(*drive);
    std::set<std::vector<uint8_t>> arrived; // the kernel's disk driver has sent some, too
    for (const lab::ArrivedCommand& command : commands.take()) {
        if (command.address == unit.address)
            arrived.insert(command.bytes);
    }
    const auto lunBits = static_cast<uint8_t>(GetParam().unit << 5);
    EXPECT_TRUE(arrived.count({0x00, lunBits, 0, 0, 0, 0})); // TEST UNIT READY
    EXPECT_TRUE(arrived.count({0x1e, lunBits, 0, 0, 0, 0})); // PREVENT ALLOW: allow
    EXPECT_TRUE(arrived.count({0x1b, 0, 0, 0, 0, 0}));       // START STOP UNIT: stop
    EXPECT_TRUE(arrived.count({0x1b, 0, 0, 0, 2, 0}));       // the eject of the tool
    EXPECT_EQ(mountOf(partition), "");
    EXPECT_EQ(waits, std::vector<unsigned int>{10});
}

INSTANTIATE_TEST_SUITE_P(Media, WholeLifeTest, ::testing::ValuesIn(kinds),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
