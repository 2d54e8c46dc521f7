#include <filesystem>

#include "tests/support/Script.h"

using InventoryTest = LibraryTest;

static const std::string gptDisk = "Disk /dev/sdc: 8 GB, 9 bytes\n\n/dev/sdc1 1 1044 8385898+ ee  EFI GPT\n";

// Each listing has its records beside it: the commands that are run, the disks, the partitions.
TEST_F(InventoryTest, Listings)
{
    testing::internal::CaptureStdout();
    for (const auto& file : std::filesystem::directory_iterator(KRMO_TEST_DATA)) {
        const std::string name = file.path().stem();
        if (file.path().extension() != ".txt")
            continue;
        reset();
        script.signals = true;
        script.tools["/sbin/fdisk -l"] = recorded(name + ".txt");
        script.tools["parted /dev/sdc print"] = script.tools["parted /dev/sde print"] = recorded(name + ".parted");
        EXPECT_TRUE(KRUnixMODiskImpl::scan());
        for (const DiskInfo& disk : KRUnixMODiskImpl::getDiskData())
            note(disk.diskName + " " + disk.diskSize + " " + disk.heads + "/" + disk.sectors + "/" + disk.cylinders);
        for (const PartInfo& part : KRUnixMODiskImpl::getPartDataByDiskName("/dev/"))
            note(part.partName + " " + part.partSize + " " + part.partId + " " + part.partType);
        SCOPED_TRACE(name);
        expect(recorded(name + ".records"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), recorded("fdisk-2.17-gpt.constructed.output"));
}

TEST_F(InventoryTest, NamesThatAShellWouldReadAreDropped)
{
    std::string specials = "'\"\\$`;&|<>()[]{}*?!~#\x7f";
    for (char control = 1; control < ' '; ++control)
        specials.append(isspace(control) != 0 ? 0 : 1, control); // white space ends a name, whatever follows
    for (const char special : specials) {
        for (const std::size_t at : {0, 1, 2, 3}) {
            const auto odd = [=](const std::string& name) {
                return std::string(name).insert(std::min(name.size(), name.size() - 3 + at), 1, special);
            };
            const std::string row = odd("/dev/sdc1") + " 1 2 3 c  FAT\n";
            const std::string newer = ": 1 MiB, 1048576 bytes, 2048 sectors\n";
            script.tools["/sbin/fdisk -l"] = gptDisk + row + odd("/dev/sd") + "1 1 2 3 ee  EFI GPT\n" +
                                             "Disk /dev/sdc" + newer + "Device Start End Type\n" + row + "Disk " +
                                             odd("/dev/sdc") + newer + "# Start End Type\n1 1 2 3\n" + odd("111") +
                                             " 1 2 3\n";
            script.tools["parted /dev/sdc print"] = odd("111") + " 1 2\n 1" + special + " 1 2\n";
            EXPECT_TRUE(KRUnixMODiskImpl::scan() && KRUnixMODiskImpl::getPartDataByDiskName("").empty())
                << static_cast<int>(special) << " at " << at;
            expect("$ /sbin/fdisk -l\n$ closed\n$ parted /dev/sdc print\n$ closed\n");
        }
    }
}

TEST_F(InventoryTest, ScanWaitsWhileHeldAndTellsWhatCannotStart)
{
    script.heldScans = 2;
    EXPECT_TRUE(KRUnixMODiskImpl::scan());
    expect("sleep 5\nsleep 5\n$ /sbin/fdisk -l\n$ closed\n");
    testing::internal::CaptureStdout();
    script.failingCommand = 1;
    EXPECT_FALSE(KRUnixMODiskImpl::scan());
    EXPECT_EQ(KRUnixMODiskImpl::getPartDataByDiskName("/dev/sdb").size(), 2U) << "the earlier inventory stays";
    script.tools["/sbin/fdisk -l"] = gptDisk + "/dev/sdc2 1 2 3 b  FAT\n";
    script.failingCommand = 2;
    EXPECT_FALSE(KRUnixMODiskImpl::scan());
    EXPECT_EQ(KRUnixMODiskImpl::_diskData.size() + KRUnixMODiskImpl::_partData.size(), 1U);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "popen error :: 11\npopen failed for parted <device_name> print :: 11\n");
}

TEST_F(InventoryTest, Words)
{
    const char* words = " \tab c";
    KRUnixMODiskImpl::skipSpace(words);
    EXPECT_EQ(KRUnixMODiskImpl::skipToSpace(words), "ab");
    EXPECT_STREQ(words, " c");
}
