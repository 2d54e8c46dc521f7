#include <fcntl.h>

#include "tests/support/Script.h"

using DriveControlTest = LibraryTest;

const auto reject = [] { script.statuses[0] = 2; };
const auto throwAtSend = [] { script.throwAt = "send"; };
const auto mountIt = [] { script.mountTables = {"/dev/sdb1 /sdb1/KRMT vfat\n"}; };

TEST_F(DriveControlTest, UnitCommands)
{
    const auto ready = [](Backend& impl) { return impl.WaitforUnitReady(60, nullptr); };
    const auto start = [](int bit, int eject) { return [=](Backend& impl) { return impl.StartStopUnit(bit, eject); }; };
    const auto prevent = [](int bit) { return [=](Backend& impl) { return impl.PreventRemovalOfVolume(bit); }; };
    const auto unload = [](Backend& impl) { return impl.DoUnload(60); };
    const auto eject = [](Backend& impl) { return impl.DoEject(60); };
    const auto complain = [] { script.tools["eject -s "] = "held\n"; };
    check("unit-commands", {{"not ready", ready, reject},
                            {"ready throws", ready, throwAtSend},
                            {"start", start(7, 0)},
                            {"eject", start(0, 7)},
                            {"stop is rejected", start(0, 0), reject},
                            {"stop throws", start(0, 0), throwAtSend},
                            {"prevent", prevent(5)},
                            {"allow is rejected", prevent(0), reject},
                            {"allow throws", prevent(0), [] { script.throwAt = "target"; }},
                            {"something else is thrown", prevent(0), [] { script.throwAt = "send!"; }},
                            {"load", [](Backend& impl) { return impl.DoLoad(60); }},
                            {"unload, not mounted", unload},
                            {"unload, not allowed", unload, [] { mountIt(), script.statuses[1] = 2; }},
                            {"unload, not stopped", unload, [] { mountIt(), script.statuses[2] = 2; }},
                            {"eject can't be started", eject, [] { script.failingCommand = 1; }},
                            {"eject complains", eject, complain}});
}

TEST_F(DriveControlTest, SerialNumberAndDumps)
{
    const auto ask = [](Backend& impl) {
        std::string serial = "before";
        const bool known = impl.GetDeviceSerialNumber(serial);
        return note("[" + serial + "]"), known;
    };
    const auto padded = [] { script.data = std::string("\0\x80\0\x08  A1 \t\v x", 13); };
    const auto tooLong = [] { script.data = std::string("\0\x80\0\xff", 4) + std::string(124, 'x'); };
    const auto* const bytes = reinterpret_cast<const unsigned char*>("abcdefghijklmnopqrstuvwxyz0123456789");
    const auto sense = [bytes](int length) { return [=](Backend& impl) { return impl.printSense(bytes, length), 0; }; };
    const auto dump = [bytes](int length) { return [=](Backend& impl) { return impl.printData(bytes, length), 0; }; };
    check("serial-number", {{"trailing white space goes", ask, padded},
                            {"no page", ask},
                            {"a page longer than the answer", ask, tooLong},
                            {"rejected", ask, reject},
                            {"thrown", ask, throwAtSend},
                            {"no sense", sense(0)},
                            {"two rows of sense and a byte", sense(29)},
                            {"three bytes of data", dump(3)},
                            {"two rows of data and a byte", dump(29)}});
}

TEST_F(DriveControlTest, Volume)
{
    const auto init = [](Backend& impl) { return impl.Init() ? impl.GetHandle() : 0; };
    const auto mark = [](Backend& impl) {
        impl._discMounted = true;
        EXPECT_TRUE(!impl.Initialize() && !impl.CheckDisc() && impl.Uninitialize() && impl._discMounted);
        impl._initialized = true;
        EXPECT_TRUE(impl.Initialize() && impl.CheckDisc() && !impl.Uninitialize() && !impl._discMounted);
        return !impl.Initialize() && (impl._initialized = true) && !impl.CheckDisc() && impl.Uninitialize();
    };
    const auto inUse = [](Backend& impl) { return impl._initialized = impl._discMounted = impl.Init(), impl.Init(); };
    const auto lock = [](Backend& impl) {
        impl._handle = open("/sdb", O_RDWR | O_CREAT, 0666);
        const int other = open("/sdb", O_RDWR);
        struct flock on = {F_WRLCK, SEEK_SET, 0, 0, 0};
        struct flock off = on;
        EXPECT_TRUE(impl.LockVolume() == 0 && fcntl(other, F_OFD_GETLK, &on) == 0 && on.l_type == F_WRLCK);
        EXPECT_TRUE(impl.UnlockVolume() == 0 && fcntl(other, F_OFD_GETLK, &off) == 0 && off.l_type == F_UNLCK);
        return close(other) + close(impl._handle) + on.l_start + on.l_len;
    };
    check("volume", {{"five tries", init, [] { script.descriptor = -1; }},
                     {"thrown", init, [] { script.throwAt = "getNativePath"; }},
                     {"opened, then in use", inUse},
                     {"marks of use", mark},
                     {"not valid", [](Backend& impl) { return impl._handle = -1, impl.GetLogicalVolume(script.data); }},
                     {"lock on the whole file", lock},
                     {"twenty tries to lock", [](Backend& impl) { return impl._handle = -1, impl.LockVolume(); }}});
}

TEST_F(DriveControlTest, Files)
{
    static char buffer[70000];
    static KRQuadWord space[2];
    const auto ask = [](const char* drive) {
        return
            [drive](Backend& impl) { return impl._logicalDrive = drive, impl.get_disc_free_space(space[0], space[1]); };
    };
    const auto read = [](int handle) { return [=](Backend& impl) { return impl.read_file(handle, buffer, 8); }; };
    const auto write = [](int handle) { return [=](Backend& impl) { return impl.write_file(handle, buffer, 8); }; };
    const auto writeTooMuch = [](Backend& impl) {
        int ends[2];
        errno = pipe2(ends, O_NONBLOCK) == 0 ? ENOSPC : 0; // what stands there is told
        const long long count = impl.write_file(ends[1], buffer, sizeof buffer);
        return count + close(ends[0]) + close(ends[1]);
    };
    const auto makeAndClose = [](Backend& impl) { return impl.close_handle(impl.create_file("/sdb1", 2, 0)); };
    const auto changeError = [] { script.callbackError = ENOLINK; };
    check("files", {{"made and closed", makeAndClose},
                    {"read, a callback that changes errno", read(-2), changeError},
                    {"write, a callback that changes errno", write(-2), changeError},
                    {"an error number is given back as it came", [](Backend& impl) { return impl.Err_Handler(22); }},
                    {"missing", [](Backend& impl) { return impl.create_file("/sdb1", 2, 1); }},
                    {"an unknown mode", [](Backend& impl) { return impl.create_file("/sdb1", 1, 0); }},
                    {"read, no handle", read(-1)},
                    {"read, a bad one", read(-2)},
                    {"write, no handle", write(-1)},
                    {"write, a bad one", write(-2)},
                    {"write, too much", writeTooMuch},
                    {"close, no handle", [](Backend& impl) { return impl.close_handle(-1); }},
                    {"close, a bad one", [](Backend& impl) { return impl.close_handle(-2); }},
                    {"space", ask("/sdb1/KRMT")},
                    {"space of nothing", ask("/sdb2")},
                    {"space, unresolved", ask("")}});
    EXPECT_TRUE(space[0] == 3ULL << 32 && space[1] == 5ULL << 32);
}
