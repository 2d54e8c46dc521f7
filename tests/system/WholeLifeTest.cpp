// A drive's whole life on every kind of medium that the lab can show.

#include <fstream>
#include <numeric>

#include <sys/statvfs.h>

#include "lab/drives/CommandLog.h"
#include "tests/system/LabTest.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

enum class Name {
    block,
    generic,
    bsg,
    link,
    address
};

struct Kind {
    const char* name;
    lab::DriveDescription drive;
    int unit = 0;
    Name givenAs = Name::generic;
    int sectorSize = 512;
};

const lab::DriveType disk = lab::DriveType::disk;
const lab::DriveType optical = lab::DriveType::magnetoOptical;
const lab::FileSystem vfat = lab::FileSystem::vfat;

const Kind kinds[] = {
    {"DiskWithDosLabel", {disk, lab::Label::dos, vfat}},
    {"DiskWithGpt", {disk, lab::Label::gpt, vfat}, 0, Name::block},
    {"SeveralPartitions", {disk, lab::Label::dos, vfat, 3}, 0, Name::bsg},
    {"UnitOne", {disk, lab::Label::dos, vfat, 1, 2}, 1, Name::address},
    {"OpticalWithDosLabel", {optical, lab::Label::dos, vfat}, 0, Name::link},
    {"OpticalWithLargeSectors", {optical, lab::Label::gpt, vfat, 2}, 0, Name::block, 2048},
};

std::string pathOf(const lab::EmulatedDrive& drive, Name name)
{
    switch (name) {
    case Name::block:
        return drive.blockNode;
    case Name::generic:
        return drive.genericNode;
    case Name::bsg:
        return "/dev/bsg/" + drive.address;
    case Name::link: {
        const std::string link = testing::TempDir() + "drive-link";
        std::remove(link.c_str());
        return symlink(drive.blockNode.c_str(), link.c_str()) == 0 ? link : "";
    }
    default:
        return drive.address;
    }
}

unsigned long long sectorsOf(const std::string& node)
{
    unsigned long long sectors = 0;
    std::ifstream("/sys/class/block" + node.substr(node.rfind('/')) + "/size") >> sectors;
    return sectors;
}

/// The commands of the library's own that reached a unit, without those of the kernel's disk driver.
bool arrived(const std::vector<lab::ArrivedCommand>& commands, const std::string& address,
             const std::vector<uint8_t>& bytes)
{
    return std::any_of(commands.begin(), commands.end(), [&](const lab::ArrivedCommand& command) {
        return command.address == address && command.bytes == bytes;
    });
}

class WholeLifeTest : public LabTest, public ::testing::WithParamInterface<Kind> {
protected:
    WholeLifeTest() : LabTest({32, GetParam().sectorSize, 0}) {}

    static void transfer(KRHardDiskDrive& drive, const std::string& path, int accessMode, std::vector<char>& data)
    {
        constexpr std::size_t blockLength = 65536;
        const int handle = drive.createFile(path, accessMode, 0);
        ASSERT_GT(handle, 0);
        for (std::size_t done = 0; done < data.size(); done += blockLength) {
            const std::size_t length = std::min(blockLength, data.size() - done);
            char* const block = data.data() + done;
            const std::size_t count =
                accessMode == 2 ? drive.writeFile(handle, block, length) : drive.readFile(handle, block, length);
            ASSERT_EQ(count, length);
        }
        drive.closeHandle(handle);
    }
};

TEST_P(WholeLifeTest, FromTheFactoryToEject)
{
    drives.add(GetParam().drive);
    const lab::EmulatedDrive unit = drives.list().at(static_cast<std::size_t>(GetParam().unit));
    const std::string partition = unit.partitionNode(1);
    const auto drive = open(pathOf(unit, GetParam().givenAs));
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
    EXPECT_EQ(partitions.front().partSize, std::to_string(sectorsOf(partition)));

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

    drives.setCommandLog(true);
    lab::CommandLog commands;
    EXPECT_EQ(drive->unload(), 0u) << lastError(*drive);
    const auto sent = commands.take();
    const auto lunBits = static_cast<uint8_t>(GetParam().unit << 5);
    EXPECT_TRUE(arrived(sent, unit.address, {0x00, lunBits, 0, 0, 0, 0})); // TEST UNIT READY
    EXPECT_TRUE(arrived(sent, unit.address, {0x1e, lunBits, 0, 0, 0, 0})); // PREVENT ALLOW: allow
    EXPECT_TRUE(arrived(sent, unit.address, {0x1b, 0, 0, 0, 0, 0}));       // START STOP UNIT: stop
    EXPECT_TRUE(arrived(sent, unit.address, {0x1b, 0, 0, 0, 2, 0}));       // the eject of the tool
    EXPECT_EQ(mountOf(partition), "");
    EXPECT_EQ(waits, std::vector<unsigned int>{10});
}

INSTANTIATE_TEST_SUITE_P(Media, WholeLifeTest, ::testing::ValuesIn(kinds),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
