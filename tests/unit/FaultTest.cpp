// Faults that the lab does not show: what is done, what the log says of it and what the host gets stand in
// data/faults.trace, without what succeeded and without dumps.

#include <regex>

#include "drive/KRHardDiskDrive.h"
#include "tests/support/Script.h"

namespace {

using FaultTest = LibraryTest;
using Drive = std::unique_ptr<KRHardDiskDrive>;
using Operation = long (*)(KRHardDiskDrive&);
using Given = std::function<void()>;

Drive openDrive(const std::string& path = "/dev/sg1")
{
    return Drive(dynamic_cast<KRHardDiskDrive*>(KRScsiMODiskDrive::instance(11001, path, 42, true)));
}

const Operation opening = nullptr;
const Operation mount = [](KRHardDiskDrive& drive) { return static_cast<long>(drive.mount()); };
const Operation unmount = [](KRHardDiskDrive& drive) { return static_cast<long>(drive.unmount()); };
const Operation unload = [](KRHardDiskDrive& drive) { return static_cast<long>(drive.unload()); };
const Operation load = [](KRHardDiskDrive& drive) { return static_cast<long>(drive.KRScsiMODiskDrive::load()); };
const Operation create = [](KRHardDiskDrive& drive) { return 0L + drive.createFile("/sdb1/a", 2, 0); };

/// fdisk prints this while the medium is mounted, and of the programs that run then this one can't be started.
Given listed(const std::string& partitions, int unstarted = 0)
{
    return [=] {
        script.mountTables = {"/dev/sdb1 /sdb1/KRMT vfat\n"};
        script.tools["/sbin/fdisk -l"] = partitions, script.failingCommand = unstarted;
    };
}

/// The first command fails, with this in its sense.
Given sensed(int status, const std::string& keyCodeQualifier = std::string(3, 0))
{
    return [=] {
        script.sense[2] = keyCodeQualifier[0], script.sense.replace(12, 2, keyCodeQualifier, 1);
        script.statuses[0] = status;
    };
}

Given noDescriptor(const std::string& path)
{
    return [=] { script.noDescriptorFor = path; };
}

TEST_F(FaultTest, OfDriveMediumAndMachine)
{
    const std::string gpt = "Disk /dev/sdb: 9 bytes\n\n/dev/sdb1 1 2 3 ee EFI GPT\n";
    const std::string disk = script.tools["/sbin/fdisk -l"];
    const std::string newer = recorded("fdisk-2.38-disk-model-scsi-removable.constructed.txt");
    const std::size_t end = newer.find("1310719 "); // of the partition, in its row
    const std::tuple<const char*, Operation, Given> faults[] = {
        {"write protect", load, sensed(2, {7, 0x27, 0})},
        {"medium error", load, sensed(2, {3, 0x11, 0})},
        {"lost transport", unload, sensed(0x10001)},
        {"fdisk dies, opening", opening, listed(disk.substr(0, 70))},
        {"fdisk dies, mount", mount, listed(disk.substr(0, 70))},
        {"fdisk dies in a row, unmount", unmount, listed(disk.substr(0, 90))},
        {"fdisk dies in the name, mount", mount, listed(disk.substr(0, disk.rfind("1 * ")))},
        {"fdisk dies in the name, unmount", unmount, listed(disk.substr(0, disk.rfind("1 * ")))},
        {"newer fdisk dies before the end, unmount", unmount, listed(newer.substr(0, end))},
        {"newer fdisk dies early in the end, unmount", unmount, listed(newer.substr(0, end + 3))},
        {"newer fdisk dies late in the end, unmount", unmount, listed(newer.substr(0, end + 5))},
        {"parted dies", opening, listed(gpt)},
        {"no process, parted", opening, listed(gpt, 2)},
        {"no process, umount of unload", unload, listed(disk, 3)},
        {"no process, eject", unload, listed(disk, 4)},
        {"no descriptor, drive", mount, noDescriptor("/dev/sg1")},
        {"no descriptor, mount table", mount, noDescriptor("/etc/mtab")},
        {"no descriptor, directory", mount, noDescriptor("/sdb1/KRMT")},
        {"no descriptor, file", create, noDescriptor("/sdb1/a")}};
    const std::regex leftOut("^(3 .*In call|3 -1 (Native|Open on Volume Succ)|open|1 -1|. closed|fflush|"
                             "1 0 @ (Native|Open|sense| |0x|.$)|$)");
    std::string happened;
    for (const auto& [name, operation, given] : faults) {
        reset();
        operation == opening ? given() : void();
        const Drive drive = openDrive();
        std::string result = "null";
        if (operation != opening && drive != nullptr) {
            events.clear(), given();
            result = std::to_string(operation(*drive));
            std::string text;
            result += ", " + std::to_string(drive->getLastError(text)) + " " + text;
        }
        std::istringstream lines(events);
        events = "# " + std::string(name) + "\n";
        for (std::string line; std::getline(lines, line);)
            std::regex_search(line, leftOut) ? void() : note(line);
        happened += events + "= " + result + "\n";
    }
    EXPECT_EQ(happened, recorded("faults.trace"));
}

/// What operations that log names tell and do with one that holds this, without it.
std::string happenedWith(const std::string& mark)
{
    const std::string node = script.node = "/dev/sdbx" + mark;
    const std::string directory = "/sdbx" + mark + "1/KRMT";
    script.tools["/sbin/fdisk -l"] = "Disk " + node + ": 2 heads\n" + node + "1 1 2 3 c  " + mark + "\n";
    script.mountTables = {"", node + "1 " + directory + "\n", node + "1 " + directory + "\n", ""};
    script.tools["eject -s " + node] = mark;
    script.data = std::string("\0\x80\0\x06", 4) + mark;
    const Drive drive = openDrive("/dev/sg" + mark);
    std::string text;
    EXPECT_EQ(drive->getSerialNumber(text) + drive->mount() + drive->unload(), 997UL);
    for (const std::string& path : {directory + mark, directory + "//" + mark, text})
        note(std::to_string(drive->createDir(path)) + drive->getMountPath() + drive->getDevicePath());
    drive->closeHandle(drive->createFile(directory + mark + "/" + mark, 0, 1));
    script.tools["mount -t vfat " + node + "1 " + directory] = mark;
    EXPECT_EQ(drive->mount(), 930UL);
    script.mountTables = {node + "1 " + directory + "\n"};
    script.tools["umount " + directory] = script.tools["umount " + node + "1"] = mark;
    EXPECT_EQ(drive->unmount(), 997UL);
    script.tools["/sbin/fdisk -l"].clear();
    EXPECT_EQ(openDrive("/dev/sg" + mark), nullptr);
    KRUnixMODiskImpl::unmountDevicesByDiskName("x" + mark);
    return std::regex_replace(std::exchange(events, ""), std::regex(mark), "");
}

TEST_F(FaultTest, NamesAreNoFormats)
{
    const std::string plain = happenedWith("ABCDEF");
    reset();
    EXPECT_EQ(happenedWith("%s%n%d"), plain);
}

} // namespace
