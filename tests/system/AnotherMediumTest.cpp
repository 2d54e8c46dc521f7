// Another medium in the drive, whose first partition lies elsewhere and has another size. Whoever asks the drive first
// gets its UNIT ATTENTION; what is mounted then is what is in the drive.

#include <cstdlib>
#include <fstream>

#include "lab/support/Process.h"
#include "tests/system/LabTest.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

/// A medium with one partition.
struct Layout {
    std::string name;
    int start; ///< MiB
    int size;  ///< MiB
};

const Layout small = {"small", 1, 16};
const Layout large = {"large", 9, 40};

/// @return how drives are told of the medium
std::string makeMedium(const Layout& layout)
{
    const std::string path = "/run/lab/media/" + layout.name;
    const std::string start = std::to_string(layout.start);
    const std::string size = std::to_string(layout.size);
    lab::runCommand({"mkdir", "-p", "/run/lab/media"});
    lab::runCommand({"truncate", "-s", "64M", path});
    lab::runCommand({"sfdisk", "-q", path}, "label: dos\nstart=" + start + "MiB, size=" + size + "MiB, type=c\n");
    lab::runCommand(
        {"mkfs.vfat", "--offset", std::to_string(layout.start * 2048), path, std::to_string(layout.size * 1024)});
    return "file=" + path + ",sector-size=512";
}

class AnotherMediumTest : public LabTest {
protected:
    AnotherMediumTest()
    {
        lab::DriveDescription empty;
        empty.isEmpty = true;
        unit = drives.add(empty);
    }

    /// What the kernel takes for the first partition.
    std::string partition() const
    {
        const std::string directory = "/sys/class/block/" + unit.partitionNode(1).substr(5);
        std::string start;
        std::string size;
        std::ifstream(directory + "/start") >> start;
        std::ifstream(directory + "/size") >> size;
        return start + "+" + size;
    }

    /// Mounts what is in the drive, and writes on it a file of its name.
    void useMedium(KRHardDiskDrive& drive, const Layout& layout, bool isNew)
    {
        EXPECT_EQ(drive.mount(), 0u) << lastError(drive);
        EXPECT_EQ(partition(), std::to_string(layout.start * 2048) + "+" + std::to_string(layout.size * 2048));
        const int handle = drive.createFile(drive.getMountPath() + "/" + layout.name, 2, isNew ? 0 : 1);
        EXPECT_GT(handle, 0) << layout.name;
        drive.closeHandle(handle);
        EXPECT_EQ(drive.unmount(), 0u) << lastError(drive);
        EXPECT_EQ(namesOn(unit), layout.name);
    }

    lab::EmulatedDrive unit;
};

TEST_F(AnotherMediumTest, IsMountedWhoeverAsksFirst)
{
    const std::pair<const char*, std::function<void()>> askers[] = {
        {"the kernel", [&] { std::ifstream(unit.blockNode).get(); }},
        {"fdisk", [] { std::system("/sbin/fdisk -l >/dev/null"); }},
        {"a command of ours",
         [&] { KRUnixMODiskImpl(unit.genericNode, "", -1, 0, true).WaitforUnitReady(0, nullptr); }}};
    for (const auto& [name, ask] : askers) {
        SCOPED_TRACE(name);
        const std::pair<Layout, std::string> media[] = {{small, makeMedium(small)}, {large, makeMedium(large)}};
        drives.takeOut(unit);
        drives.insert(unit, media[0].second);
        open(unit.genericNode);
        const auto drive = open(unit.genericNode);
        ASSERT_NE(drive, nullptr);
        for (int i = 0; i < 3; ++i) {
            const auto& [layout, medium] = media[i % 2];
            if (i > 0) {
                drives.takeOut(unit);
                drives.insert(unit, medium);
                ask();
            }
            useMedium(*drive, layout, i < 2);
        }
    }
}

TEST_F(AnotherMediumTest, FirstInstanceAfterALoadMakesTheKernelLook)
{
    drives.insert(unit, makeMedium(large));
    EXPECT_EQ(open(unit.genericNode), nullptr);
    EXPECT_TRUE(wasLogged(0, "No partition information found for device :: " + unit.blockNode));
    const auto drive = open(unit.genericNode);
    ASSERT_NE(drive, nullptr);
    useMedium(*drive, large, true);
}

TEST_F(AnotherMediumTest, PreventOfOurOwnIsNotUndone)
{
    KRUnixMODiskImpl backend(unit.genericNode, "", -1, 0, true);
    EXPECT_EQ(backend.PreventRemovalOfVolume(1), 0);
    backend.openDevice();
    backend.WaitforUnitReady(0, nullptr);
    EXPECT_NE(drives.state(unit).find("locked=yes"), std::string::npos) << drives.state(unit);
    EXPECT_EQ(backend.PreventRemovalOfVolume(0), 0);
}

} // namespace
