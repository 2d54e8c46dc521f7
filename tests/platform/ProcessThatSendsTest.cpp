// What commands mean to the threads of the process: signals that come meanwhile, and turns.

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <thread>

#include "platform/KrException.h"
#include "platform/UXScsi.h"
#include "tests/platform/FakeSystem.h"

namespace {

int sendTo(const UXScsiTarget& target)
{
    return UXScsi::send(target, "\0\0\0\0\0", 6, nullptr, 0, false, true, nullptr, 0, -1);
}

std::set<int> blockedSignals()
{
    std::set<int> signals;
    std::uint64_t mask = 0;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, nullptr, &mask, sizeof mask); // the C library hides its own two
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if ((mask >> (signal - 1) & 1) != 0)
            signals.insert(signal);
    }
    return signals;
}

TEST(ProcessThatSends, SignalsWaitForTheEndOfACommand)
{
    FakeSystem system;
    system.plug("5:0:2:0", {"sg1"}, 1);
    std::set<int> during;
    int error = 0;
    system.answer = [&](sg_io_hdr&) { return during = blockedSignals(), error; };
    const std::set<int> before = blockedSignals();
    for (error = 0; error <= EIO; error += EIO) {
        try {
            sendTo(UXScsiTarget("/dev/sg1", false));
        } catch (const KrException&) {
            EXPECT_EQ(error, EIO);
        }
        for (int signal = 1; signal <= SIGRTMAX; ++signal) {
            const std::set<int> never = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGKILL, SIGSTOP};
            EXPECT_NE(during.count(signal), never.count(signal)) << signal;
        }
        EXPECT_EQ(blockedSignals(), before);
    }
}

TEST(ProcessThatSends, MoreCommandsThanTheKernelTakesWaitForTheirTurn)
{
    constexpr int most = 16; // on one descriptor of a generic node
    constexpr int senders = 3 * most;
    FakeSystem system;
    system.plug("5:0:2:1", {"sg1"}, 1);
    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    int running = 0;
    bool isCrowded = false; // all threads are about to send, and the first commands run
    const auto look = [&] {
        isCrowded = isCrowded || (running == most && begun == senders);
        changed.notify_all();
    };
    system.answer = [&](sg_io_hdr&) {
        std::unique_lock lock(mutex);
        if (running == most)
            return EDOM;
        ++running;
        look();
        changed.wait(lock, [&] { return isCrowded; });
        --running;
        return 0;
    };
    const auto sendOne = [&] {
        {
            const std::lock_guard lock(mutex);
            ++begun;
            look();
        }
        EXPECT_NO_THROW(sendTo(UXScsiTarget("/dev/sg1", false)));
    };
    std::vector<std::thread> threads;
    threads.reserve(senders);
    for (int i = 0; i < senders; ++i)
        threads.emplace_back(sendOne);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
