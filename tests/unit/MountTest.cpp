#include "tests/support/Script.h"

using MountTest = LibraryTest;

const auto mountIt = [] { script.mountTables = {"/dev/sdb2 /sdb1/KRMT\n/dev/sdb1 /sdb1/KRMT\n"}; };

TEST_F(MountTest, Resolution)
{
    std::string result;
    const auto resolve = [&result](Backend&) {
        const bool found = Backend::GetLogicaldriveLetter("/dev/sg1", result = "before");
        EXPECT_EQ(result, found ? "/sdb1/KRMT" : "before");
        return found;
    };
    const auto ask = [](Backend& impl) { return impl.GetLogicaldriveLetter() == "/sdb1/KRMT"; };
    const auto lookUp = [ask](Backend& impl) { return impl._logicalDrive.clear(), ask(impl) && ask(impl); };
    check("resolution", {{"found", resolve},
                         {"empty path", [&](Backend&) { return Backend::GetLogicaldriveLetter("", result); }},
                         {"no scan", resolve, [] { script.failingCommand = 1; }},
                         {"not opened", resolve, [] { script.descriptor = -1; }},
                         {"the target throws", resolve, [] { script.throwAt = "target"; }},
                         {"the native path throws", resolve, [] { script.throwAt = "getNativePath"; }},
                         {"something else is thrown", resolve, [] { script.throwAt = "getFD!"; }},
                         {"no partition", resolve, [] { script.tools.clear(); }},
                         {"an object looks it up once", lookUp}});
}

TEST_F(MountTest, Mounting)
{
    const auto mount = [](Backend& impl) { return impl.DoMount(); };
    const auto unmount = [](Backend& impl) { return impl.DoUnMount(); };
    const auto complain = [] { script.tools["mount -t vfat /dev/sdb1 /sdb1/KRMT"] = "mount: a\nb\n"; };
    const auto complainOfUse = [] { mountIt(), script.tools["umount /sdb1/KRMT"] = "busy\n"; };
    const auto changeMedium = [] { mountIt(), script.toolsLater["/sbin/fdisk -l"] = "Disk /dev/sdb: no table\n"; };
    const auto clear = [](Backend&) { return Backend::unmountDevicesByDiskName("/dev/sdb"); };
    const auto clearNameless = [](Backend&) { return Backend::unmountDevicesByDiskName("sdb"); };
    const auto mountStale = [] {
        script.mountTables = {"/dev/sdb1 /sdb1/KRMT vfat\n/dev/sdb2 /mnt/KRMT vfat\n/dev/sdb3 /sdb3/data vfat\n"
                              "/dev/sdba1 /sdbx/KRMT vfat\n/dev/sda1 /sdb1/KRMT vfat\n/dev/sdb4 /sdb4/KRMT vfat\n"};
        script.tools["umount /dev/sdba1"] = "busy\n";
        script.failingCommand = 3;
    };
    check("mounting",
          {{"already mounted", mount, mountIt},
           {"no mount table", mount, [] { script.mountTables = {{}}; }},
           {"no second scan", mount, [] { script.failingCommand = 2; }},
           {"another medium at the second scan", mount, changeMedium},
           {"the command can't be started", mount, [] { script.failingCommand = 3; }},
           {"the command complains", mount, complain},
           {"the command is silent and nothing is mounted", mount},
           {"the drive throws", mount, [] { script.throwAt = "getFD"; }},
           {"a lookup threw", mount, [] { script.failingCommand = 1, Backend::bExceptionCaught = true; }},
           {"the drive can't be opened", mount, [] { script.descriptor = -1; }},
           {"unmount: others", unmount, [] { script.mountTables = {"/dev/sdb2 /sdb1/KRMT\n/dev/sdb1 /sdb\n"}; }},
           {"unmount: no second scan", unmount, [] { script.failingCommand = 2; }},
           {"unmount: the command can't be started", unmount, [] { mountIt(), script.failingCommand = 3; }},
           {"unmount: the command complains", unmount, complainOfUse},
           {"stale: those of the disk on our directories go", clear, mountStale},
           {"stale: no mount table", clear, [] { script.mountTables = {{}}; }},
           {"stale: a name without a slash", clearNameless, mountStale},
           {"stale: and an empty table", clearNameless}});
}

TEST_F(MountTest, Directories)
{
    const auto create = [](const char* path) { return [path](Backend& impl) { return impl.createDirectory(path); }; };
    const auto fileInPlace = [] { fclose(fopen((*script.root + "/sdb").c_str(), "w")); };
    check("directories", {{"the root", create("/")},
                          {"missing parents, a slash at the end", create("/sdb/a/b/")},
                          {"a file of that name", create("/sdb"), fileInPlace},
                          {"a file in the way", create("/sdb/a"), fileInPlace},
                          {"two slashes at the end", create("/sdb//")},
                          {"a parent that can't be made", create("/sdb//a")},
                          {"a callback that changes errno", create("/sdb//a"), [] { script.callbackError = ENOLINK; }},
                          {"a relative path", create("sdb")},
                          {"an empty path", create("")}});
}
