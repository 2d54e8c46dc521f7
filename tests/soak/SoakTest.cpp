// Very many mounts in one process: nothing grows but the mount-table streams that the library leaves open.

#include <malloc.h>
#include <mntent.h>
#include <sys/resource.h>

#include "platform/SystemFiles.h"
#include "tests/system/LabTest.h"

TEST_F(LabTest, ManyMountsInOneProcess)
{
    constexpr std::size_t cycles = 2000;
    constexpr std::size_t streams = 3 * cycles; // two for a mount, one for an unmount
    const rlimit limit{8192, 8192};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const auto drive = open(drives.add().blockNode);
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = nullptr; // what the test itself notes grows, too
    FILE* const stream = setmntent("/etc/mtab", "r+");
    getmntent(stream);
    const std::size_t bytesOfStream = malloc_usable_size(stream) + malloc_usable_size(stream->_IO_buf_base) + 16;
    const std::size_t descriptorsBefore = scsi::namesIn("/proc/self/fd").size();
    const std::size_t bytesBefore = mallinfo2().uordblks;
    for (std::size_t i = 0; i < cycles; ++i) {
        char text[] = "data";
        ASSERT_EQ(drive->mount(), 0u) << lastError(*drive);
        const int file = drive->createFile(drive->getMountPath() + "/file", 2, 0);
        ASSERT_TRUE(drive->writeFile(file, text, 4) && !lseek(file, 0, SEEK_SET) &&
                    drive->readFile(file, text, 4) == 4);
        drive->closeHandle(file);
        ASSERT_EQ(drive->unmount(), 0u) << lastError(*drive);
    }
    EXPECT_EQ(scsi::namesIn("/proc/self/fd").size() - descriptorsBefore, streams);
    EXPECT_NEAR(mallinfo2().uordblks - bytesBefore, streams * bytesOfStream, 4096); // what is kept for reuse
}
