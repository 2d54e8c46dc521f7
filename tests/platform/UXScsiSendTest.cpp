// Sending commands: what the kernel is asked, what its answers mean, and the sense data that callers get.

#include <gtest/gtest.h>

#include <climits>

#include "platform/KrException.h"
#include "platform/UXScsi.h"
#include "tests/platform/FakeSystem.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Answer = std::tuple<unsigned char, unsigned short, unsigned short, Bytes>; // SCSI, host, driver status, sense

const Answer attention = {2, 0, 8, {0x70, 0, 6}};

class UXScsiSend : public testing::Test {
protected:
    UXScsiSend()
    {
        system.plug("5:0:0:0", {"sg1", "sdb"}, 1);
        system.answer = [this](sg_io_hdr& request) {
            requests.push_back(request);
            Bytes sent;
            std::tie(request.status, request.host_status, request.driver_status, sent) =
                requests.size() <= attentions ? attention : answer;
            request.resid = residual;
            request.sb_len_wr = static_cast<unsigned char>(sent.size());
            std::copy(sent.begin(), sent.end(), request.sbp);
            return error;
        };
    }

    int send(bool pastAttention, int senseLength = 28)
    {
        return UXScsi::send(target, "\0\0\0\0\0", 6, nullptr, 0, false, pastAttention, sense.data(), senseLength, -1);
    }

    FakeSystem system;
    UXScsiTarget target{"/dev/sg1", false};
    Answer answer;
    std::size_t attentions = 0;
    int residual = 0;
    int error = 0;
    std::vector<sg_io_hdr> requests;
    Bytes sense = Bytes(28, 0xee);
};

TEST_F(UXScsiSend, Outcomes)
{
    const Bytes recovered = {0x70, 0, 0xf1};
    const std::pair<Answer, int> cases[] = {{{0, 0, 0, {}}, 0},
                                            {{0, 0, 0x18, {}}, 0},
                                            {{2, 0, 8, recovered}, 0},
                                            {{2, 0, 0, {0x72, 1}}, 0},
                                            {{2, 0, 8, {0x71, 0, 1}}, 2},
                                            {{2, 0, 8, {0x73, 1}}, 2},
                                            {{2, 0, 8, {0x70, 0, 3}}, 2},
                                            {{2, 0, 0, {}}, 2},
                                            {{8, 0, 0, recovered}, 8},
                                            {{0x18, 0, 0, {}}, 0x18},
                                            {{0, 3, 0, {}}, 0x10003},
                                            {{2, 1, 8, {0x70, 0, 6}}, 0x10001},
                                            {{0, 5, 6, {}}, 0x10005},
                                            {{0, 0, 0x14, {}}, 0x10007},
                                            {{2, 0, 6, recovered}, 0x10003},
                                            {attention, 2}};
    for (const auto& [given, result] : cases) {
        answer = given;
        EXPECT_EQ(send(given != attention), result) << testing::PrintToString(given);
    }
    EXPECT_EQ(requests.size(), std::size(cases)) << "sent again unasked";
}

TEST_F(UXScsiSend, UnitAttentionIsSentAgainTwice)
{
    for (attentions = 0; attentions < 5; ++attentions) {
        requests.clear();
        EXPECT_EQ(send(true), attentions < 3 ? 0 : 2);
        EXPECT_EQ(requests.size(), std::min<std::size_t>(attentions + 1, 3));
        EXPECT_EQ(sense[2], attentions < 3 ? 0 : 6);
    }
}

TEST_F(UXScsiSend, RequestsAsTheKernelTakesThem)
{
    // seconds given to open and to send, bytes, to the drive; milliseconds, direction
    const std::tuple<int, int, unsigned int, bool, unsigned int, int> cases[] = {
        {-1, -1, 0, true, 60000, SG_DXFER_NONE},
        {90, -1, 4, true, 90000, SG_DXFER_TO_DEV},
        {90, 5, 4, false, 5000, SG_DXFER_FROM_DEV},
        {90, 0, 0, false, 0, SG_DXFER_NONE},
        {90, INT_MAX, 0, false, UINT_MAX, SG_DXFER_NONE}};
    char data[4];
    for (const auto& [openSeconds, seconds, length, toDevice, milliseconds, direction] : cases) {
        UXScsi::open(target, openSeconds);
        const UXScsi::Device device(target);
        UXScsi::send(device.target(), "cdb", 3, data, static_cast<int>(length), toDevice, true, nullptr, 28, seconds);
        const sg_io_hdr& request = requests.back();
        EXPECT_EQ(std::tuple(request.timeout, request.dxfer_direction, request.dxferp, request.dxfer_len),
                  std::tuple(milliseconds, direction, data, length));
        EXPECT_EQ(std::string(request.cmdp, request.cmdp + request.cmd_len), "cdb");
    }
}

TEST_F(UXScsiSend, WhatTheDriveDidNotSendIsZero)
{
    // what came, the residual, to the drive, what the caller then has
    const std::tuple<Answer, int, bool, const char*> cases[] = {
        {{0, 0, 0, {}}, 0, false, "stale"},  {{0, 0, 0, {}}, 3, false, "st000"},  {attention, 4, false, "s0000"},
        {{0, 0, 0, {}}, 99, false, "00000"}, {{0, 0, 0, {}}, -1, false, "stale"}, {{0, 3, 0, {}}, 0, false, "00000"},
        {{0, 3, 0, {}}, 5, true, "stale"}};
    for (const auto& [given, unsent, toDevice, expected] : cases) {
        answer = given;
        residual = unsent;
        std::string data = "stale";
        UXScsi::send(target, "\0\0\0\0\0", 6, data.data(), 5, toDevice, false, nullptr, 0, -1);
        std::replace(data.begin(), data.end(), '\0', '0');
        EXPECT_EQ(data, expected) << testing::PrintToString(given) << unsent;
    }
}

TEST_F(UXScsiSend, RefusalsAreExceptions)
{
    const auto refusal = [this](const char* path, int cdbLength) {
        try {
            UXScsi::send(UXScsiTarget(path, false), "", cdbLength, nullptr, 0, false, true, sense.data(), 28, -1);
            return std::string();
        } catch (const KrException& exception) {
            return exception.formatError();
        }
    };
    error = ENODEV;
    EXPECT_EQ(refusal("/dev/sdx", 6), "/dev/sdx: open: No such file or directory");
    EXPECT_EQ(refusal("/dev/sg1", 6), "/dev/sg1: SG_IO: No such device");
    EXPECT_EQ(refusal("/dev/sg1", 256 + 6), "/dev/sg1: SG_IO: Invalid argument");
    EXPECT_EQ(sense, Bytes(28));
    EXPECT_EQ(requests.size(), 1U);
}

TEST_F(UXScsiSend, SenseIsFixedFormatWithinItsBuffer)
{
    const auto with = [](Bytes descriptors, int cutOff = 0) {
        const int length = static_cast<int>(descriptors.size()) + cutOff;
        const Bytes header = {0x72, 0x03, 0x11, 0x04, 0, 0, 0, static_cast<unsigned char>(length)};
        descriptors.insert(descriptors.begin(), header.begin(), header.end());
        return descriptors;
    };
    const Bytes bare = {0x70, 0, 3, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x11, 4};
    const Bytes unit = {0x70, 0, 3, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x11, 4, 0x55};
    const std::pair<Bytes, Bytes> cases[] = {
        {{}, {}},
        {{0x7f, 1, 2, 3}, {}},
        {Bytes(252, 0x70), Bytes(28, 0x70)},
        {{0x73, 0xf2}, {0x71, 0, 2, 0, 0, 0, 0, 10}},
        {with({0, 10, 0x80, 0, 0, 0, 0, 0, 1, 2, 3, 4}), {0xf0, 0, 3, 1, 2, 3, 4, 10, 0, 0, 0, 0, 0x11, 4}},
        {with({0, 10, 0x80, 0, 0, 0, 0, 1, 1, 2, 3, 4}), bare}, // more than fixed format has room for
        {with({0, 10, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4}), bare},    // not valid
        {with({1, 10, 0, 0, 0, 0, 0, 0, 5, 6, 7, 8, 0x80, 1, 0xff, 2, 6, 0, 0, 0xc0, 0, 9, 0, 5, 2, 0, 0xff}),
         {0x70, 0, 0x23, 0, 0, 0, 0, 10, 5, 6, 7, 8, 0x11, 4, 0, 0xc0, 0, 9}},
        {with({4, 2, 0, 0xff, 5, 2, 0, 0x20}), {0x70, 0, 0xe3, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x11, 4}},
        {with({3, 2, 0, 0x55, 0, 10, 0x80, 0, 0, 0, 0, 0, 1, 2, 3}, 1), unit},
        {with({3, 2, 0, 0x55, 3}, 200), unit},
        {with({6, 2, 0, 0xff, 3, 2, 0, 0x55}), unit}, // behind one of an unknown type
        {with({3, 2, 0, 0x55}, -1), bare},
        {with({3, 1, 0, 0x80, 0}), bare}}; // shorter than its type is
    for (const auto& [sent, fixed] : cases) {
        answer = {2, 0, 8, sent};
        for (const int length : {-1, 0, 13, 28}) {
            sense.assign(28, 0xee);
            send(false, length);
            Bytes expected = fixed;
            expected.resize(static_cast<std::size_t>(std::max(length, 0)));
            expected.resize(28, 0xee);
            EXPECT_EQ(sense, expected) << testing::PrintToString(sent);
        }
    }
    sense.resize(400);
    EXPECT_EQ(send(false, 400), 2);
}

TEST(UXScsiSense, Texts)
{
    const std::tuple<unsigned char, unsigned char, unsigned char, const char*> cases[] = {
        {0x00, 0x00, 0x00, "NO SENSE: NO ADDITIONAL SENSE INFORMATION"},
        {0xf3, 0x11, 0x00, "MEDIUM ERROR: UNRECOVERED READ ERROR"},
        {0x0b, 0x74, 0x79, "ABORTED COMMAND: SECURITY CONFLICT IN TRANSLATED DEVICE"},
        {0x09, 0x80, 0x01, "VENDOR SPECIFIC: ASC 0x80 ASCQ 0x01"},
        {0x04, 0x40, 0x85, "HARDWARE ERROR: DIAGNOSTIC FAILURE ON COMPONENT 0x85"},
        {0x0f, 0x40, 0x7f, "COMPLETED: ASC 0x40 ASCQ 0x7f"}};
    for (const auto& [key, asc, ascq, text] : cases)
        EXPECT_EQ(UXScsiSense::toText(key, asc, ascq, false), text);
}

} // namespace
