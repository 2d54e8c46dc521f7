#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <optional>

#include "unix/KRUnixMODiskImpl.h"

/// What a test says of the drive, the tools and the C library, for all of which the test executable stands in. All is
/// well at first: a disk with two partitions, none mounted. Nothing waits; paths at "/sdb" are moved to `root`.
struct Script {
    int descriptor = 7;          ///< of the opened drive; -1: ENXIO
    std::map<int, int> statuses; ///< of the commands, by their number from 0; 0 when not here
    int sends = 0;               ///< commands that were sent
    std::string data;            ///< what a command answers
    std::string sense = std::string("\x70\0\x92\0\0\0\0\x0a\0\0\0\0\x3a\x01", 14) + std::string(14, '\0');
    std::string node = "/dev/sdb"; ///< the drive's native path
    std::string noDescriptorFor;   ///< the path that can't be opened (EMFILE)
    std::string throwAt; ///< the platform operation that throws KrException; with "!" behind it, something else
    std::shared_ptr<int> targets = std::make_shared<int>();
    std::map<std::string, std::string> tools;                  ///< what command lines print; nothing when not here
    std::map<std::string, std::string> toolsLater;             ///< what they print the next time, when here
    bool signals = false;                                      ///< a signal arrives before each byte of a tool's output
    int failingCommand = 0;                                    ///< the how manyth command can't be started (EAGAIN)
    std::deque<std::optional<std::string>> mountTables = {""}; ///< one an opening, the last stays; none: EACCES
    int callbackError = 0;             ///< what the host's callback leaves in `errno`; 0: nothing
    int heldScans = 0;                 ///< how often the hold file is there
    std::shared_ptr<std::string> root; ///< the temporary directory, which goes with it
};

inline Script script;

/// What happened, a line each: log lines as "level identifier text" with "@" for "Device [/dev/sg1] -", "$" and a
/// command line or the closing of its stream, the waits and calls that the stand-ins got, "=" and a result with the
/// error state behind it.
inline std::string events;
void note(const std::string& event);

struct Backend : KRUnixMODiskImpl {
    explicit Backend(const char* drive) : KRUnixMODiskImpl("/dev/sg1", drive, -1, 0, true) {}
    using KRUnixMODiskImpl::_discMounted, KRUnixMODiskImpl::_handle, KRUnixMODiskImpl::_initialized;
    using KRUnixMODiskImpl::_logicalDrive;
};

class LibraryTest : public testing::Test {
protected:
    LibraryTest() { reset(); }
    ~LibraryTest() override { reset(); }
    static void reset();
    static std::string recorded(const std::string& fileName);
    static void expect(const std::string& expected) { EXPECT_EQ(std::exchange(events, ""), expected); }

    /// Something done with a fresh backend after something said. What happens stands in data/NAME.trace, and signals
    /// change nothing of it.
    struct Case {
        std::string name;
        std::function<long long(Backend&)> when;
        std::function<void()> given = [] {};
    };
    static void check(const std::string& name, const std::vector<Case>& cases);

private:
    static std::string run(const Case& test, bool signals);
};
