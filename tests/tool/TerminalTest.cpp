// What reaches a terminal: bars that fit, lines apart from them, and names that do no harm.

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <regex>

#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "drive/KRScsiMODiskDrive.h"
#include "tool/Descriptor.h"
#include "tool/Failure.h"
#include "tool/LibraryLog.h"
#include "tool/Progress.h"
#include "tool/Text.h"

namespace {

constexpr const char* eraseLine = "\r\x1b[K";

std::string contentOf(const tool::Descriptor& descriptor)
{
    std::string text;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(descriptor.number(), block.data(), block.size())) > 0;)
        text.append(block.data(), static_cast<std::size_t>(count));
    return text; // a terminal ends with EIO once nobody has it open
}

/// What a step writes while standard error is a descriptor. @param reader the other end of it.
std::string written(tool::Descriptor writer, const tool::Descriptor& reader, const std::function<void()>& step)
{
    const tool::Descriptor kept(dup(STDERR_FILENO));
    dup2(writer.number(), STDERR_FILENO);
    writer.close();
    step();
    dup2(kept.number(), STDERR_FILENO);
    return contentOf(reader);
}

std::string writtenToTerminal(unsigned short columns, const std::function<void()>& step)
{
    const winsize size = {24, columns, 0, 0};
    int reader = -1;
    int writer = -1;
    EXPECT_EQ(0, openpty(&reader, &writer, nullptr, nullptr, &size)) << strerror(errno);
    return written(tool::Descriptor(writer), tool::Descriptor(reader), step);
}

std::string writtenToPipe(const std::function<void()>& step)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(0, pipe(ends.data()));
    return written(tool::Descriptor(ends[1]), tool::Descriptor(ends[0]), step);
}

void transfer()
{
    tool::Progress progress(false);
    progress.expect(1ULL << 40);
    progress.begin("flushing");
    progress.advance(1ULL << 39);
    progress.begin("comparing");
}

/// The lines that stay on a terminal's screen.
std::string screen(const std::string& written)
{
    std::string lines;
    std::string line;
    std::size_t column = 0;
    for (std::size_t i = 0; i < written.size(); ++i) {
        if (written[i] == '\r')
            column = 0;
        else if (written.compare(i, 3, eraseLine + 1) == 0)
            line.resize(column), i += 2;
        else if (written[i] == '\n')
            lines += std::exchange(line, "") + '\n';
        else
            line.replace(column++, 1, 1, written[i]);
    }
    return lines + line;
}

struct TerminalTest : testing::Test {
    TerminalTest()
    {
        tool::readTextAsUtf8();
        setenv("TERM", "xterm", 1);
    }
    ~TerminalTest() override { KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = nullptr; }
};

} // namespace

TEST_F(TerminalTest, ABarFitsATerminalOfAnyWidth)
{
    for (unsigned short columns = 1; columns <= 120; ++columns) {
        const std::string text = writtenToTerminal(columns, transfer);
        std::string longest;
        for (std::size_t start = 0, end = 0; start < text.size(); start = end + 4) {
            end = std::min(text.find(eraseLine, start), text.size());
            longest =
                std::max(longest, text.substr(start, end - start),
                         [](const std::string& one, const std::string& other) { return one.size() < other.size(); });
        }
        EXPECT_LT(longest.size(), columns) << longest;
        EXPECT_EQ("", screen(text));
    }
    const std::regex whole("[^]*comparing \\[#{15} {15}\\]  50%  [0-9.]+ GiB/s  [0-9]+:[0-9]{2} left[^]*");
    EXPECT_TRUE(std::regex_match(writtenToTerminal(0, transfer), whole)); // 0: it does not know
    EXPECT_EQ("writing [###    ]  50%", tool::progressText({"writing", 0.5, 1e6, 9}, 22));
    EXPECT_EQ("writing  50%", tool::progressText({"writing", 0.5, 1e6, 9}, 16));
}

TEST_F(TerminalTest, LinesStandApartFromABar)
{
    tool::listenToLibrary("", true);
    const std::string text = writtenToTerminal(80, [] {
        tool::Progress progress(false);
        for (const char* const step : {"writing", "flushing"}) {
            progress.begin(step);
            KRScsiMODiskDrive::m_gpLogMessageCallbackFunc(3, 1, "what the library says");
        }
        progress.begin("comparing");
        tool::tell("krmo: ", "what is told");
    });
    const std::string stamp = "[0-9T:.-]{23} \\[3 1\\] ";
    const std::regex lines(stamp + "what the library says\n" + stamp + "what the library says\nkrmo: what is told\n");
    EXPECT_NE(std::string::npos, text.find("writing"));
    EXPECT_TRUE(std::regex_match(screen(text), lines)) << screen(text);
}

TEST_F(TerminalTest, ALogThatIsNotReadHoldsNothingUpAndIsToldOnce)
{
    const std::string fifo = testing::TempDir() + "/log." + std::to_string(getpid());
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    const tool::Descriptor reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK));
    tool::listenToLibrary(fifo, false);
    unlink(fifo.c_str());
    EXPECT_EQ("krmo: the log is not complete: Resource temporarily unavailable\n", writtenToPipe([] {
                  for (int line = 0; line < 1000; ++line)
                      KRScsiMODiskDrive::m_gpLogMessageCallbackFunc(3, 1, std::string(200, 'x'));
              }));
    EXPECT_NE(std::string::npos, contentOf(reader).find("[3 1] xxx"));
}

TEST_F(TerminalTest, OnlyATerminalThatCanDrawGetsABar)
{
    EXPECT_EQ("", writtenToPipe(transfer));
    setenv("TERM", "dumb", 1);
    EXPECT_EQ("", writtenToTerminal(80, transfer));
    unsetenv("TERM");
    EXPECT_EQ("", writtenToTerminal(80, transfer));
}

TEST_F(TerminalTest, WhatCanNotBeSeenIsShownAsEscapes)
{
    const struct {
        const char* what;
        const char* text;
        const char* shown;
    } cases[] = {
        {"letters of all kinds", "Grüße, 日本 e\u0301 \u00a0😀", "Grüße, 日本 e\u0301 \u00a0😀"},
        {"an escape sequence", "\x1b[2J\t\x7f", "\\x1b[2J\\x09\\x7f"},
        {"a control of eight bits", "\u009b2J", "\\xc2\\x9b2J"},
        {"bytes that are no character", "l\xe9g\xc3", "l\\xe9g\\xc3"},
        {"right-to-left override", "exe.\u202etxt", "exe.\\xe2\\x80\\xaetxt"},
        {"isolate", "\u2066a\u2069", "\\xe2\\x81\\xa6a\\xe2\\x81\\xa9"},
        {"marks of direction", "\u200e\u061c", "\\xe2\\x80\\x8e\\xd8\\x9c"},
        {"zero width", "a\u200bb\u200d\u2060", "a\\xe2\\x80\\x8bb\\xe2\\x80\\x8d\\xe2\\x81\\xa0"},
        {"byte order mark", "\ufeffa", "\\xef\\xbb\\xbfa"},
        {"soft hyphen", "\u00ad", "\\xc2\\xad"},
        {"separator of lines", "\u2028", "\\xe2\\x80\\xa8"},
        {"a tag, a variation", "\U000e0041\ufe0f", "\\xf3\\xa0\\x81\\x81\\xef\\xb8\\x8f"},
        {"empty letter", "\u3164", "\\xe3\\x85\\xa4"},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.shown, tool::escaped(one.text)) << one.what;
}
