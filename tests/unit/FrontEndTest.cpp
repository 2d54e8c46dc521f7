#include <dlfcn.h>

#include "drive/KRHardDiskDrive.h"
#include "tests/support/Script.h"

using FrontEndTest = LibraryTest;

static int allocations, messages;

void* operator new(std::size_t size)
{
    ++allocations;
    static const auto next = reinterpret_cast<void* (*)(std::size_t)>(dlsym(RTLD_NEXT, "_Znwm"));
    return next(size);
}

namespace {

struct Drive : KRHardDiskDrive {
    Drive() : KRHardDiskDrive("/dev/sg1", 11001, 42, true) {}
    using KRHardDiskDrive::_impl;
};

/// Lets 930 not be stored, and stores another code for 994.
struct OddDrive : Drive {
    void SetErrorCode(unsigned long code, const std::string& reason) override
    {
        if (code == 930)
            throw code;
        Drive::SetErrorCode(code == 994 ? 987 : code, reason);
    }
};

struct Thrower : Backend {
    Thrower() : Backend("") {}
    bool IsValid() override { throw 1; }
};

char data[8] = "data";
int isWorm = 5;
KRQuadWord space;
std::string text;

using Operation = std::function<long long(Drive&)>;
const std::vector<Operation> operations = {
    [](Drive& drive) { return drive.KRScsiMODiskDrive::load(); },
    [](Drive& drive) { return drive.getSerialNumber(text); },
    [](Drive& drive) { return drive.mount(); },
    [](Drive& drive) { return drive.unmount(); },
    [](Drive& drive) { return drive.unload(); },
    [](Drive& drive) { return drive.createFile("/sdb1/a", 0, 1); },
    [](Drive& drive) { return drive.closeHandle(-1), 0; },
    [](Drive& drive) { return drive.getDiscFreeSpace(space, space); },
    [](Drive& drive) { return drive.readFile(-1, data, 8); },
    [](Drive& drive) { return drive.writeFile(-1, data, 8); },
    [](Drive& drive) { return errno = ENOSPC, drive.createDir("a"); },
    [](Drive& drive) { return drive.createDir(""); },
    [](Drive& drive) { return drive.load(); },
    [](Drive& drive) { return drive.eraseDisk("all"); },
    [](Drive& drive) { return drive.KRScsiMODiskDrive::unload(); },
    [](Drive& drive) { return drive.isMediaWORM(1, isWorm) ? 0 : isWorm; },
    [](Drive& drive) { return drive.getLogicalVolume(text); },
    [](Drive& drive) { return drive.open(true); },
};

} // namespace

TEST_F(FrontEndTest, WholeLifeOfADrive)
{
    script.mountTables = {"", "/dev/sdb1 /sdb1/KRMT vfat\n"};
    auto* const drive = KRScsiMODiskDrive::instance(11001, "/dev/sg1", 42, true);
    EXPECT_EQ(drive->mount(), 0U);
    EXPECT_EQ(drive->getDevicePath() + drive->getMountPath(), "/dev/sdb/sdb1/KRMT");
    EXPECT_EQ(drive->createDir("/sdb1/KRMT/a"), 0);
    const int file = drive->createFile("/sdb1/KRMT/a/file", 2, 0);
    EXPECT_EQ(drive->writeFile(file, data, 4), 4U);
    drive->closeHandle(file);
    const int again = drive->createFile("/sdb1/KRMT/a/file", 2, 0);
    EXPECT_EQ(drive->readFile(again, data, 8), 4U) << "nothing is truncated";
    drive->closeHandle(again);
    drive->closeHandle(drive->createFile("/sdb1", 0, 1)); // a directory opens for reading alone
    script.tools["eject -s /dev/sdb"] = "held\n";
    EXPECT_EQ(drive->unload(), 997U);
    script.tools.erase("eject -s /dev/sdb");
    EXPECT_EQ(drive->unload(), 0U);
    delete drive;
    expect(recorded("whole-life.trace"));
}

TEST_F(FrontEndTest, OperationsThatFail)
{
    Drive drive;
    const std::pair<std::string, std::function<void()>> states[] = {
        {"closed, the lookup throws", [] { script.throwAt = "getFD"; }},
        {"closed, the lookup throws something else", [] { script.throwAt = "getFD!"; }},
        {"closed", [] { script.throwAt = ""; }},
        {"the backend fails", [] {}},
        {"the volume is not open", [&] { script.descriptor = -1, drive._impl->Init(); }},
        {"the backend throws", [&] { script.throwAt = "target!", drive._impl = std::make_unique<Thrower>(); }}};
    for (const auto& [state, prepare] : states) {
        prepare();
        for (const Operation& operation : operations) {
            note("# " + state);
            script.statuses[script.sends] = 2;
            drive.SetErrorCode(9, "earlier");
            const long long result = operation(drive);
            const unsigned long code = drive.getLastError(text);
            note("= " + std::to_string(result) + ", " + std::to_string(code) + " " + text);
        }
    }
    expect(recorded("front-end.trace"));
}

TEST_F(FrontEndTest, CodesAreThoseOfTheBackend)
{
    static OddDrive drive;
    EXPECT_EQ(drive.createFile("/sdb1/a", 0, 1), 0) << "987 on a closed drive";
    drive.open(true);
    script.tools["mount -t vfat /dev/sdb1 /sdb1/KRMT"] = "wrong fs type\n";
    EXPECT_EQ(drive.mount(), 1100U) << "930 can't be stored";
    script.mountTables = {"/dev/sdb1 /sdb1/KRMT vfat\n"};
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = [](int, const long long&, const std::string&) {
        drive.SetErrorCode(997, "the callback's");
    };
    EXPECT_EQ(drive.mount(), 997U) << "not the backend's, so it stays";
    EXPECT_EQ(drive.unload(), 0U) << "a success";
    drive.close();
}

TEST_F(FrontEndTest, AnswersOfTheBaseClasses)
{
    Backend backend("");
    const auto isSupported = [](auto... arguments) {
        bool supported = true;
        return KRScsiMODiskDrive::Supported("/dev/sg1", arguments..., supported, text = "before") || supported;
    };
    EXPECT_FALSE(isSupported() || isSupported(std::string("second"), 1, 2, 3));
    EXPECT_EQ(text, "before");
    KRScsiMODiskDrive generic("/dev/sg1", 0, 42, true);
    EXPECT_EQ(generic.mount(), ~0UL);
    EXPECT_EQ(generic.getMountPath() + generic.getDevicePath(), "");
    EXPECT_FALSE(generic.open(true) || generic.isValid() || backend.is_worm_media());
    EXPECT_FALSE(backend.KRBaseMODiskImpl::GetLogicalVolume(text));
    EXPECT_TRUE(backend.KRBaseMODiskImpl::DoEject(60) && backend.KRBaseMODiskImpl::GetDeviceSerialNumber(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(backend.getImplType(), krMO_Unix);
}

TEST_F(FrontEndTest, FactoryMakesHardDisksOnly)
{
    for (const std::string path : {"", "/dev/sg1"}) {
        for (const int type : {11000, 11001, 11002, 11003, 11999, 12000}) {
            const std::unique_ptr<KRScsiMODiskDrive> drive(KRScsiMODiskDrive::instance(type, path, 42, true));
            EXPECT_EQ(drive != nullptr, type % 2 != 0 && !path.empty()) << type;
        }
    }
    expect(recorded("factory.trace"));
    const KRScsiMODiskDrive generic("", 0, 42, true);
    EXPECT_EQ(generic.loadTimeOut() + 10 * generic.unloadTimeOut(), 6600);
    EXPECT_EQ(Drive().loadTimeOut() + 10 * Drive().unloadTimeOut(), 660);
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = [](int, const long long&, const std::string&) { throw 1; };
    EXPECT_TRUE(Drive().open(true)) << "what the host's callback throws is dropped";
}

TEST_F(FrontEndTest, FileOperationsAllocateOnlyTheirMessages)
{
    Drive drive;
    drive.open(true);
    const int file = drive.createFile("/sdb", 2, 0);
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = [](int, const long long&, const std::string&) { ++messages; };
    for (const int expected : {4, 0}) {
        messages = allocations = 0;
        EXPECT_EQ(drive.writeFile(file, data, 4) + drive.readFile(file, data, 4), 4U);
        EXPECT_EQ(std::pair(messages, allocations), std::pair(expected, expected));
        KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = nullptr;
    }
    drive.closeHandle(file);
}
