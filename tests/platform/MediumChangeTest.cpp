// What the kernel is told of another medium, which it can't know of by itself.

#include <gtest/gtest.h>

#include <thread>

#include "platform/UXScsi.h"
#include "tests/platform/FakeSystem.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Names = std::vector<std::string>;

const Bytes mediumMayHaveChanged = {0x70, 0, 6, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0x28, 0};

class MediumChange : public testing::Test {
protected:
    MediumChange()
    {
        system.answer = [this](sg_io_hdr& request) {
            system.calls.emplace_back("command");
            request.host_status = hostStatus;
            request.status = sense.empty() ? 0 : 2;
            request.sb_len_wr = static_cast<unsigned char>(sense.size());
            std::copy(sense.begin(), sense.end(), request.sbp);
            sense.clear();
            return 0;
        };
    }

    void plug(const Names& names, const std::string& size = "10\n")
    {
        system.plug("5:0:3:0", names, 1);
        system.set("/sys/devices/5:0:3:0/block/sdb/size", size);
        UXScsi::open(target, 60);
    }

    void send(const Bytes& cdb, const Bytes& firstAnswer, bool sendAgain = true)
    {
        sense = firstAnswer;
        UXScsi::send(target, cdb.data(), 6, nullptr, 0, false, sendAgain, nullptr, 0, -1);
    }

    /// All that is done for a command that first gets this answer.
    Names callsOf(const Bytes& firstAnswer, bool sendAgain = true)
    {
        system.calls.clear();
        send(Bytes(6), firstAnswer, sendAgain);
        return system.calls;
    }

    FakeSystem system;
    UXScsiTarget target{"5:0:3:0", false};
    Bytes sense;
    unsigned short hostStatus = 0;
    const Names readAnew = {"command", "/dev/sdb 0 exclusive", "/sys/devices/5:0:3:0/rescan 1", "BLKRRPART", "command"};
    const Names sentAgain = {"command", "command"};
};

TEST_F(MediumChange, IsReadAnewWhereACommandMetIt)
{
    const std::tuple<unsigned char, unsigned char, bool> cases[] = {
        {0x28, 0, true}, {0x28, 1, true}, {0x29, 4, true}, {0x2a, 9, true}, {0x2a, 1, false}, {0x3f, 0x0e, false}};
    plug({"sg1", "sdb"});
    for (const auto& [asc, ascq, isRead] : cases) {
        EXPECT_EQ(callsOf({0x72, 6, asc, ascq}), isRead ? readAnew : sentAgain) << +asc << " " << +ascq;
        EXPECT_EQ(callsOf({0x71, 0, 6, 0, 0, 0, 0, 6, 0, 0, 0, 0, asc, ascq}), Names{"command"}) << "of an earlier one";
    }
    EXPECT_EQ(system.content("/sys/devices/5:0:3:0/rescan"), "1");
    EXPECT_EQ(callsOf(mediumMayHaveChanged, false), Names(readAnew.begin(), readAnew.end() - 1));
    system.claimed = {"/dev/sdb"};
    EXPECT_EQ(callsOf(mediumMayHaveChanged), (Names{"command", "/dev/sdb 0 exclusive", "command"})) << "forced";
}

TEST_F(MediumChange, LeavesDrivesWithOneNodeAlone)
{
    for (const std::string name : {"sg1", "sdb"}) { // a lock on the block node would be lost by closing another of it
        plug({name}, "0\n");
        EXPECT_EQ(system.calls, Names{"/dev/" + name + " 2"});
        EXPECT_EQ(callsOf(mediumMayHaveChanged), sentAgain) << name;
        system.unplugAll();
        system.calls.clear();
    }
}

TEST_F(MediumChange, KernelLooksForAMediumThatItDoesNotKnowOf)
{
    plug({"sg1", "sdb"}, "0\n");
    EXPECT_EQ(system.calls, (Names{"/dev/sg1 2", "/dev/sdb 0"}));
}

TEST_F(MediumChange, DriveWithAMediumIsOpenedWhileItsRemovalIsPrevented)
{
    plug({"sg1", "sdb"});
    UXScsiTarget other("5:0:3:0", false);
    system.answer = [&other](sg_io_hdr&) {
        std::thread([&other] { UXScsi::open(other, 60); }).join(); // for ever where it waits for the command
        return 0;
    };
    for (const unsigned char prevent : {1, 0})
        send({0x1e, 0, 0, 0, prevent, 0}, {});
    EXPECT_EQ(other.getFD(), target.getFD());
}

TEST_F(MediumChange, NothingUndoesAPreventOfOurOwn)
{
    // byte 4, host status, answer, whether removal is prevented then
    const std::tuple<unsigned char, unsigned short, Bytes, bool> cases[] = {{1, 0, {0x70, 0, 5}, false},
                                                                            {1, 0, {}, true},
                                                                            {0, 0, {0x70, 0, 5}, true},
                                                                            {0, 3, {}, true},
                                                                            {0, 0, {}, false},
                                                                            {1, 3, {}, true},
                                                                            {0, 0, {}, false},
                                                                            {3, 0, {}, true},
                                                                            {1, 0, {}, true}};
    plug({"sg1", "sdb"}, "0\n");
    for (const auto& [prevent, host, answer, isPrevented] : cases) {
        hostStatus = host;
        send({0x1e, 0, 0, 0, prevent, 0}, answer);
        hostStatus = 0;
        EXPECT_EQ(callsOf(mediumMayHaveChanged), isPrevented ? sentAgain : readAnew) << +prevent << " " << host;
        system.calls.clear();
        UXScsi::open(target, 60);
        EXPECT_EQ(system.calls, isPrevented ? Names{} : Names{"/dev/sdb 0"}) << +prevent << " " << host;
    }
    system.unplugAll();
    plug({"sg1", "sdb"});
    EXPECT_EQ(callsOf(mediumMayHaveChanged), readAnew) << "it was away since";
}

} // namespace
