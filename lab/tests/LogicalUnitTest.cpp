// What a drive answers to commands, in every state, without a kernel: as T10's documents have it.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "lab/support/TemporaryFolder.h"
#include "lab/target/LogicalUnit.h"

namespace {

using lab::LogicalUnit;

std::vector<uint8_t> bytesOf(const std::string& hexadecimal)
{
    std::vector<uint8_t> bytes;
    std::istringstream words(hexadecimal);
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return bytes;
}

std::string hexadecimal(const std::vector<uint8_t>& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        constexpr const char* digits = "0123456789abcdef";
        text += std::string(text.empty() ? "" : " ") + digits[byte >> 4U] + digits[byte & 15U];
    }
    return text;
}

/// A drive with a medium of 100 blocks of 512 bytes; block n holds the byte n.
struct LogicalUnitTest : testing::Test {
    LogicalUnitTest()
    {
        std::ofstream file(path);
        for (char block = 0; block < 100; ++block) {
            file << std::string(512, block);
        }
        file.close();
        unit = std::make_unique<LogicalUnit>(lab::Identity{7, "S1"}, medium());
        tell("00"); // that the power came on
    }

    std::unique_ptr<lab::Medium> medium(uint32_t sectorSize = 512) const
    {
        return std::make_unique<lab::Medium>(path, sectorSize);
    }

    /// What becomes of a command: "00" and the data that came, or "02" and the sense, with the block and what came.
    std::string tell(const std::string& command, size_t room = 64)
    {
        std::vector<uint8_t> data(room, 0xee);
        lab::ScsiCommand sent{{},
                              lab::DataBuffer({{data.data(), room / 2}, {data.data() + room / 2, room - room / 2}})};
        const std::vector<uint8_t> bytes = bytesOf(command);
        std::copy(bytes.begin(), bytes.end(), sent.bytes.begin());
        const lab::ScsiAnswer answer = unit->execute(sent);
        data.resize(std::min<size_t>(answer.transferred, 64));
        const std::string content = data.empty() ? "" : ": " + hexadecimal(data);
        if (answer.isWithheld) {
            return "unanswered";
        }
        if (!answer.sense) {
            return hexadecimal({answer.status}) + content;
        }
        const lab::Sense& sense = *answer.sense;
        return hexadecimal({answer.status, sense.key, sense.code, sense.qualifier}) +
               (sense.information ? " block " + std::to_string(*sense.information) : "") + content;
    }

    const lab::TemporaryFolder folder;
    const std::string path = folder.path() + "/medium";
    std::unique_ptr<LogicalUnit> unit;
};

TEST_F(LogicalUnitTest, TellsOfItselfAndOfItsMedium)
{
    const struct {
        const char* command;
        const char* answer;
    } cases[] = {
        {"12 00 00 00 24 00",
         "00: 07 80 05 02 1f 00 00 02 4c 41 42 20 20 20 20 20 4f 50 54 49 43 41 4c 20 44 52 49 56 45 "
         "20 20 20 31 2e 30 20"},
        {"12 00 00 00 05 00", "00: 07 80 05 02 1f"},
        {"12 00 80 00 24 00", "02 05 24 00"},
        {"12 01 00 00 ff 00", "00: 07 00 00 03 00 80 83"},
        {"12 01 80 00 ff 00", "00: 07 80 00 02 53 31"},
        {"12 01 83 00 ff 00", "00: 07 83 00 0e 02 01 00 0a 4c 41 42 20 20 20 20 20 53 31"},
        {"12 01 b0 00 ff 00", "02 05 24 00"},
        {"25 00 00 00 00 00 00 00 00 00", "00: 00 00 00 63 00 00 02 00"},
        {"9e 10 00 00 00 00 00 00 00 00 00 00 00 0c 00 00", "00: 00 00 00 00 00 00 00 63 00 00 02 00"},
        {"9e 12 00 00 00 00 00 00 00 00 00 00 00 0c 00 00", "02 05 24 00"},
        {"1a 00 3f 00 0c 00", "00: 1f 00 00 08 00 00 00 64 00 00 02 00"},
        {"1a 08 08 00 06 00", "00: 17 00 00 00 08 12"},
        {"5a 00 3f 00 00 00 00 00 10 00", "00: 00 22 00 00 00 00 00 08 00 00 00 64 00 00 02 00"},
        {"1a 00 01 00 ff 00", "02 05 24 00"},
        {"35 00 00 00 00 00 00 00 00 00", "00"},
        {"03 00 00 00 12 00", "00: 70 00 00 00 00 00 00 0a 00 00 00 00 00 00 00 00 00 00"},
        {"03 01 00 00 12 00", "00: 72 00 00 00 00 00 00 00"},
        {"85 00", "02 05 20 00"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(one.answer, tell(one.command)) << one.command;
    }
}

TEST_F(LogicalUnitTest, ReadsAndWritesByEveryCommand)
{
    const struct {
        const char* read;
        const char* write;
    } cases[] = {
        {"08 00 00 05 02 00", "0a 00 00 05 02 00"},
        {"28 00 00 00 00 05 00 00 02 00", "2a 00 00 00 00 05 00 00 02 00"},
        {"a8 00 00 00 00 05 00 00 00 02 00 00", "aa 00 00 00 00 05 00 00 00 02 00 00"},
        {"88 00 00 00 00 00 00 00 00 05 00 00 00 02 00 00", "8a 00 00 00 00 00 00 00 00 05 00 00 00 02 00 00"},
    };
    std::string held = "00: 05 05"; // what the block holds, in its first two bytes
    for (const auto& one : cases) {
        EXPECT_EQ(held, tell(one.read, 1024).substr(0, 9)) << one.read;
        EXPECT_EQ("00", tell(one.write, 1024).substr(0, 2));
        held = "00: ee ee";
    }
    EXPECT_EQ("02 05 21 00", tell("28 00 00 00 00 63 00 00 02 00", 1024));
    EXPECT_EQ("02 05 21 00", tell("2a 00 ff ff ff ff 00 00 01 00", 512));
}

TEST_F(LogicalUnitTest, KnowsWhyThereIsNothingToRead)
{
    lab::Tray& tray = unit->tray();
    const struct {
        const char* state;
        std::function<void()> happens;
        const char* answer;
    } cases[] = {
        {"stopped", [&] { tell("1b 00 00 00 00 00"); }, "02 02 04 02"},
        {"started", [&] { tell("1b 00 00 00 01 00"); }, "00"},
        {"ejected", [&] { tell("1b 00 00 00 02 00"); }, "02 02 3a 02"},
        {"start of an open drive", [&] { EXPECT_EQ("02 02 3a 02", tell("1b 00 00 00 01 00")); }, "02 02 3a 02"},
        {"loaded", [&] { tell("1b 00 00 00 03 00"); }, "02 06 28 00"},
        {"told", [] {}, "00"},
        {"taken out", [&] { tray.open(), tray.exchange(nullptr); }, "02 02 3a 02"},
        {"shut, empty", [&] { tray.close(); }, "02 02 3a 01"},
        {"spins up", [&] { unit->set("spin-up", "1000000"), tray.open(), tray.exchange(medium()), tray.close(); },
         "02 02 04 01"},
        {"ready", [&] { unit->set("spin-up", "0"), tray.open(), tray.close(); }, "02 06 28 00"},
    };
    for (const auto& one : cases) {
        one.happens();
        EXPECT_EQ(one.answer, tell("00 00 00 00 00 00")) << one.state;
    }
}

TEST_F(LogicalUnitTest, TellsEachAttentionOnceAndInOrder)
{
    unit->powerOn();
    unit->addAttention({6, 0x2a, 0x09, {}});
    unit->tray().open();
    unit->tray().exchange(medium(1024));
    unit->tray().close();
    EXPECT_EQ("00", tell("12 00 00 00 00 00")); // neither tells nor clears them
    EXPECT_EQ("02 06 29 00", tell("1a 00 3f 00 ff 00"));
    EXPECT_EQ("00: 70 00 06 00 00 00 00 0a 00 00 00 00 2a 09 00 00 00 00", tell("03 00 00 00 12 00"));
    EXPECT_EQ("02 06 28 00", tell("28 00 00 00 00 00 00 00 01 00"));
    EXPECT_EQ("00: 00 00 00 31 00 00 04 00", tell("25 00 00 00 00 00 00 00 00 00"));
}

TEST_F(LogicalUnitTest, ObeysTheLock)
{
    lab::Tray& tray = unit->tray();
    EXPECT_EQ("00", tell("1e 00 00 00 01 00"));
    EXPECT_EQ("02 05 53 02", tell("1b 00 00 00 02 00"));
    EXPECT_FALSE(tray.pressButton());
    EXPECT_EQ("00", tell("00 00 00 00 00 00"));
    unit->set("button-ignores-lock", "yes");
    EXPECT_TRUE(tray.pressButton());
    EXPECT_EQ("02 02 3a 02", tell("00 00 00 00 00 00"));
    EXPECT_TRUE(tray.pressButton());
    EXPECT_EQ("02 06 28 00", tell("1e 00 00 00 00 00")) << "so the drive stays locked";
    EXPECT_EQ("02 05 53 02", tell("1b 00 00 00 02 00"));
    EXPECT_EQ("00", tell("1e 00 00 00 00 00"));
    EXPECT_EQ("00", tell("1b 00 00 00 02 00"));
}

TEST_F(LogicalUnitTest, ProtectsAMediumAndSaysSo)
{
    unit->set("write-protect", "yes");
    EXPECT_EQ("02 07 27 00", tell("2a 00 00 00 00 05 00 00 01 00", 512));
    EXPECT_EQ("00: 05", tell("28 00 00 00 00 05 00 00 01 00", 512).substr(0, 6));
    EXPECT_EQ("00: 17 00 80 00", tell("1a 08 3f 00 04 00"));
    EXPECT_NE(std::string::npos, unit->state().find("write-protect=yes"));
}

TEST_F(LogicalUnitTest, HasBlocksThatFail)
{
    unit->set("unreadable", "7+2");
    unit->set("unwritable", "20");
    unit->set("lose-writes", "31+2");
    const std::string before = tell("28 00 00 00 00 05 00 00 04 00", 2048);
    EXPECT_EQ("02 03 11 00 block 7: 05 05", before.substr(0, 26));
    EXPECT_EQ("02 03 0c 00 block 20: ee", tell("2a 00 00 00 00 13 00 00 04 00", 2048).substr(0, 24));
    EXPECT_EQ("00: ee", tell("2a 00 00 00 00 1e 00 00 04 00", 2048).substr(0, 6));
    const char* const held[] = {"1e: ee", "1f: 1f", "20: 20", "21: ee", "13: ee", "14: 14"};
    for (const std::string block : held) {
        const std::string number = block.substr(0, 2);
        EXPECT_EQ("00" + block.substr(2), tell("28 00 00 00 00 " + number + " 00 00 01 00", 512).substr(0, 6))
            << number;
    }
    unit->heal();
    EXPECT_EQ("00: 07", tell("28 00 00 00 00 07 00 00 01 00", 512).substr(0, 6));
}

TEST_F(LogicalUnitTest, AnswersAsItIsTold)
{
    for (const char* const step : {"command=1b......02,times=2,sense=5/53/02", "command=00,unanswered",
                                   "command=00,pass", "command=00,status=08", "times=all,sense=4/44/00"}) {
        unit->faults().add(step);
    }
    const struct {
        const char* command;
        const char* answer;
    } cases[] = {
        {"1b 00 00 00 02 00", "02 05 53 02"}, {"00", "unanswered"}, {"00", "00"},
        {"1b 00 00 00 02 00", "02 05 53 02"}, {"00", "08"},         {"1b 00 00 00 02 00", "02 04 44 00"},
        {"12 00 00 00 05 00", "02 04 44 00"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(one.answer, tell(one.command)) << one.command;
    }
    unit->heal();
    unit->faults().add("command=28,sense=1/17/01,executed"); // a recovered error transfers data
    EXPECT_EQ("02 01 17 01: 05", tell("28 00 00 00 00 05 00 00 01 00", 512).substr(0, 15));
}

TEST_F(LogicalUnitTest, RefusesWordsThatItDoesNotKnow)
{
    for (const char* const step : {"command=1", "command=xx", "sense=5/24", "sense=5/24/zz", "times=x", "colour=red"}) {
        EXPECT_THROW(unit->faults().add(step), std::invalid_argument) << step;
    }
    EXPECT_THROW(unit->set("colour", "red"), std::invalid_argument);
    EXPECT_THROW(unit->set("unreadable", "7-9"), std::invalid_argument);
    EXPECT_THROW(unit->set("write-protect", "perhaps"), std::invalid_argument);
}

} // namespace
