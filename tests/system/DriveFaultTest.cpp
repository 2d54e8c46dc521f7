// What goes wrong with a drive or a medium, on a real kernel.

#include <cerrno>
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "platform/UXScsi.h"
#include "tests/system/LabTest.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

using DriveFaultTest = LabTest;

TEST_F(DriveFaultTest, DriveUnpluggedWhileMountedComesBackUnderItsDescriptor)
{
    const auto unit = drives.add();
    const auto drive = open(unit.address);
    ASSERT_NE(drive, nullptr);
    ASSERT_EQ(drive->mount(), 0u);
    KRUnixMODiskImpl backend(unit.address, drive->getMountPath(), -1, 0, true);
    const int handle = backend.OpenVolume(true);
    ASSERT_NE(handle, -1);

    drives.unplug(unit);
    EXPECT_EQ(backend.WaitforUnitReady(0, nullptr), -1);
    ASSERT_EQ(system(("umount " + drive->getMountPath()).c_str()), 0);

    EXPECT_EQ(drives.plugIn(unit).genericNode, unit.genericNode); // whose name was let go of by the command
    EXPECT_EQ(backend.OpenVolume(true), handle); // what holds the number never means another file
    EXPECT_EQ(backend.WaitforUnitReady(0, nullptr), 0);
}

TEST_F(DriveFaultTest, OneDescriptorServesADriveByAllItsNames)
{
    const auto unit = drives.add();
    const auto other = drives.add();
    std::vector<int> descriptors;
    for (const std::string& path : {unit.blockNode, unit.genericNode, unit.address, "/dev/bsg/" + unit.address}) {
        UXScsiTarget target(path.c_str(), false);
        EXPECT_EQ(UXScsi::open(target, 60), 0) << path;
        EXPECT_EQ(target.getNativePath(), unit.blockNode);
        descriptors.push_back(target.getFD());
    }
    EXPECT_EQ(descriptors, std::vector<int>(4, descriptors.front()));
    UXScsiTarget second(other.address.c_str(), false);
    UXScsi::open(second, 60);
    EXPECT_NE(second.getFD(), descriptors.front());

    UXScsiTarget partition(unit.partitionNode(1).c_str(), false);
    EXPECT_EQ(UXScsi::open(partition, 60), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(DriveFaultTest, RejectedCommandIsToldInEitherSenseFormat)
{
    const auto unit = drives.add();
    KRUnixMODiskImpl backend(unit.genericNode, "", -1, 0, true);
    for (const char* const format : {"descriptor-sense=no", "descriptor-sense"}) {
        drives.set(unit, format);
        EXPECT_EQ(backend.StartStopUnit(0, 0), 0);
        log.clear();
        EXPECT_EQ(backend.WaitforUnitReady(0, nullptr), -1);
        EXPECT_TRUE(wasLogged(0, "TEST_UNIT_READY command failed with status 2"));
        EXPECT_TRUE(wasLogged(1, "text=\"NOT READY: LOGICAL UNIT NOT READY, INITIALIZING COMMAND REQUIRED\"\n"));
        EXPECT_EQ(backend.StartStopUnit(1, 0), 0);
        EXPECT_EQ(backend.WaitforUnitReady(0, nullptr), 0);
    }
}

TEST_F(DriveFaultTest, LockThatASecondProcessHolds)
{
    const auto unit = drives.add();
    KRUnixMODiskImpl backend(unit.genericNode, "", -1, 0, true);
    ASSERT_TRUE(backend.Init());
    const pid_t holder = fork();
    if (holder == 0)
        _exit(backend.LockVolume() == 0 ? raise(SIGSTOP) : 1);
    int status = 0;
    waitpid(holder, &status, WUNTRACED);
    ASSERT_TRUE(WIFSTOPPED(status)) << "it has no lock";
    EXPECT_EQ(backend.LockVolume(), -1);
    EXPECT_EQ(waits, std::vector<unsigned int>(20, 1500));
    EXPECT_TRUE(wasLogged(1, "Resource temporarily unavailable"));

    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(backend.LockVolume(), 0);
    EXPECT_EQ(backend.UnlockVolume(), 0);
}

} // namespace
