// Two drives in two threads, as the host guide allows it: looked at by the thread sanitizer.

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <thread>

#include <mntent.h>

#include "drive/KRHardDiskDrive.h"
#include "platform/UXScsi.h"
#include "platform/ZOSleep.h"
#include "tests/platform/FakeSystem.h"

void ZOSLEEP_InTeRnAl(unsigned long, const char*, int) {}

extern "C" FILE* popen(const char* line, const char* mode)
{
    static char listing[] = "/dev/sdb1 1 1015 2234984 c FAT32\n/dev/sdc1 1 1015 2234984 c FAT32\n";
    return fmemopen(listing, std::strcmp(line, "/sbin/fdisk -l") == 0 ? std::strlen(listing) : 0, mode);
}

extern "C" int pclose(FILE* stream)
{
    return fclose(stream);
}

extern "C" FILE* setmntent(const char*, const char*) noexcept
{
    static char table[] = "/dev/sdb1 /sdb1/KRMT vfat rw 0 0\n/dev/sdc1 /sdc1/KRMT vfat rw 0 0\n";
    return fmemopen(table, std::strlen(table), "r");
}

static void sendTo(const char* path)
{
    UXScsiTarget target(path, false);
    EXPECT_EQ(UXScsi::open(target, 60), 0);
    EXPECT_EQ(UXScsi::send(target, "\0\0\0\0\0", 6, nullptr, 0, false, true, nullptr, 0, -1), 0);
}

static void useDrive(const std::string& devicePath, const std::string& directory)
{
    static std::mutex oneAtATime;
    const auto alone = [](auto operation) {
        const std::lock_guard lock(oneAtATime);
        return operation();
    };
    sendTo("/dev/sg1");
    sendTo("/dev/sg2");
    KRHardDiskDrive drive(devicePath, 11001, 1, true);
    EXPECT_TRUE(alone([&] { return drive.open(true); }));
    for (int i = 0; i < 9; ++i) {
        std::string text = "data";
        EXPECT_EQ(alone([&] { return drive.mount(); }), 0u);
        EXPECT_EQ(drive.createDir(directory + "/backup"), 0);
        const int handle = drive.createFile(directory + "/backup/file", 2, 0);
        EXPECT_EQ(drive.writeFile(handle, text.data(), 4) + drive.readFile(handle, text.data(), 4), 4u);
        drive.closeHandle(handle);
        EXPECT_EQ(drive.getSerialNumber(text), 0u);
        EXPECT_EQ(alone([&] { return i % 2 == 0 ? drive.unmount() : drive.unload(); }), 0u);
    }
}

TEST(TwoDrives, InTwoThreads)
{
    FakeSystem system;
    system.plug("5:0:0:0", {"sg1", "sdb"}, 1);
    system.plug("5:0:1:0", {"sg2", "sdc"}, 2);
    system.answer = [](const sg_io_hdr&) { return 0; };
    std::thread other(useDrive, "/dev/sg2", system.root + "/other");
    useDrive("/dev/sg1", system.root + "/one");
    other.join();
}
