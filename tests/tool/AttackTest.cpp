// Who owns a folder that is copied from or into changes it at the one moment that matters: nothing is led elsewhere,
// and what is torn is not called a copy.

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "lab/drives/Faults.h"
#include "lab/drives/Media.h"
#include "lab/support/Process.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;

namespace {

struct AttackTest : ToolTest {
    const std::string large = file("large", 30'000'000);

    void putAndStopIn(const lab::EmulatedDrive& drive, const std::string& sources)
    {
        put.start("exec '" KRMO_TOOL "' put --verbose " + drive.genericNode + " " + sources);
        put.runBehind("KRScsiMODiskDrive::writeFile()", 6);
    }

    static fs::path onlyOne(const std::string& folder, const std::string& start)
    {
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().filename().string().rfind(start, 0) == 0)
                return entry.path();
        }
        return {};
    }
};

} // namespace

TEST_F(AttackTest, AFolderThatBecomesALinkIsNotReadThrough)
{
    const lab::EmulatedDrive drive = add();
    file("secret/inner", 7);
    file("tree/sub/inner", 7);
    putAndStopIn(drive, large + " " + folder + "/tree");
    fs::rename(folder + "/tree/sub", folder + "/tree/away");
    fs::create_symlink(folder + "/secret", folder + "/tree/sub");
    EXPECT_TRUE(ended(finish(put), 1, "tree/sub/inner: has become a symbolic link"));
    EXPECT_EQ("", namesOn(drive));
}

TEST_F(AttackTest, ATemporaryFolderThatBecomesALinkIsNotWrittenThrough)
{
    const lab::EmulatedDrive drive = add();
    const std::string other = folder + "/other";
    fs::create_directories(other);
    file("tree/sub/inner", 7);
    ASSERT_TRUE(ended(run("put " + drive.genericNode + " " + large + " " + folder + "/tree"), 0));
    lab::SteppedProgram get;
    get.start("exec '" KRMO_TOOL "' get --verbose " + drive.genericNode + " large tree --to " + folder + "/back");
    get.runBehind("KRScsiMODiskDrive::readFile()", 6);
    const fs::path staging = onlyOne(folder + "/back", ".krmo-incomplete.");
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(staging / "large").permissions());
    fs::rename(staging, folder + "/back/away");
    fs::create_directory_symlink(other, staging);
    EXPECT_TRUE(ended(finish(get), 0, "the temporary folder is left"));
    EXPECT_TRUE(fs::is_empty(other));
    EXPECT_NO_THROW(lab::runCommand({"diff", "-r", folder + "/tree", folder + "/back/tree"}));
    EXPECT_NE(fs::perms::none, fs::status(folder + "/back/large").permissions() & fs::perms::others_read);
}

// Whoever owns the target may put a folder of root's there that he can't empty himself.
TEST_F(AttackTest, AFolderThatTakesThePlaceOfTheTemporaryOneIsNotEmptied)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("put " + drive.genericNode + " " + file("small", 7)), 0));
    file("back/precious/kept", 7);
    lab::SteppedProgram get;
    get.start("ANNOUNCED=mkdirat LD_PRELOAD=$LD_PRELOAD:'" KRMO_STAND_IN "' exec '" KRMO_TOOL "' get " +
              drive.genericNode + " small --to " + folder + "/back");
    get.runBehind("mkdirat", 1);
    const fs::path staging = onlyOne(folder + "/back", ".krmo-incomplete.");
    fs::rename(staging, folder + "/back/away");
    fs::rename(folder + "/back/precious", staging);
    EXPECT_TRUE(ended(finish(get), 1, "was exchanged for another one"));
    EXPECT_TRUE(fs::exists(staging / "kept"));
}

TEST_F(AttackTest, ASourceThatChangesMeanwhileIsNotCalledCopied)
{
    file("other", 30'000'000);
    const struct {
        const char* change; ///< a command in the folder of the sources
        const char* said;
    } cases[] = {
        {"printf x | dd of=large conv=notrunc", "large: changed while it was copied"},
        {"mv other later", "later: was exchanged for another file meanwhile"},
        {"printf x >>later", "later: has another size than before"},
    };
    for (const auto& one : cases) {
        const lab::EmulatedDrive drive = add();
        file("large", 30'000'000);
        putAndStopIn(drive, large + " " + file("later", 30'000'000));
        lab::runCommand({"sh", "-c", "cd " + folder + " && " + one.change});
        EXPECT_TRUE(ended(finish(put), 1, one.said)) << one.change;
        EXPECT_EQ("", namesOn(drive)) << one.change;
        drives.removeAll();
    }
}

// What was flushed is wiped before it is read again: a drive that says it wrote it. First what is compared, then what
// came behind that.
TEST_F(AttackTest, TablesAndNamesThatTheDriveLosesAreNoticed)
{
    for (const int unmount : {1, 2}) {
        const lab::EmulatedDrive drive = add();
        put.start("exec '" KRMO_TOOL "' put --verbose " + drive.genericNode + " " + file("small", 10));
        put.runBehind("Issuing unmount command", unmount);
        lab::overwriteSectors(drive.blockNode, 2052, 450, "cat /dev/zero");
        EXPECT_TRUE(ended(finish(put), 1, "0 of 1 done")) << unmount;
        drives.removeAll();
    }
}

TEST_F(AttackTest, AKernelOrAFileSystemThatKnowsLessIsTold)
{
    const lab::EmulatedDrive drive = add();
    const auto refused = [](const char* call, int error) {
        return std::string("REFUSED=") + call + " REFUSED_WITH=" + std::to_string(error) + " LD_PRELOAD=$LD_PRELOAD:'" +
               KRMO_STAND_IN "'";
    };
    file("tree/sub/inner", 7);
    const std::string put = "put " + drive.genericNode + " " + folder + "/tree";
    const std::string get = "get " + drive.genericNode + " tree --to " + folder + "/back";
    EXPECT_TRUE(ended(run(put, refused("openat2", ENOSYS)), 3, "no openat2"));
    for (const int error : {EINVAL, ENOSYS}) {
        const std::string before = refused("renameat2", error);
        fs::remove_all(folder + "/back/tree");
        EXPECT_TRUE(ended(run(put + " --force", before), 0)) << error;
        EXPECT_TRUE(ended(run(get, before), 0)) << error;
        EXPECT_TRUE(ended(run(get, before), 2, "is there already")) << error;
        EXPECT_TRUE(ended(run(get + " --force", before), 0)) << error;
        EXPECT_NO_THROW(lab::runCommand({"diff", "-r", folder + "/tree", folder + "/back/tree"}));
    }
}

// 512 entries fit into the root of a FAT16; the temporary folder takes three.
TEST_F(AttackTest, AFullRootIsTold)
{
    const lab::EmulatedDrive drive = add();
    ASSERT_TRUE(ended(run("mount " + drive.genericNode), 0));
    for (int i = 100; i < 100 + 512 - 3; ++i)
        std::ofstream(directoryOf(drive) + "/F" + std::to_string(i));
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + file("X", 7)), 1, "X: No space left on device"));
}
