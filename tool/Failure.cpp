#include "tool/Failure.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <set>
#include <sstream>
#include <vector>

#include "tool/Text.h"

namespace tool {

namespace {

sigset_t& interrupts()
{
    static sigset_t signals;
    return signals;
}

/// Those that end a process which does not expect them, for which no fault of its own is the reason.
std::vector<int> endingSignals()
{
    std::vector<int> signals = {SIGINT,  SIGTERM, SIGHUP,  SIGQUIT, SIGUSR1,   SIGUSR2,  SIGALRM,
                                SIGPROF, SIGXCPU, SIGPOLL, SIGPWR,  SIGVTALRM, SIGSTKFLT};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
        signals.push_back(signal);
    return signals;
}

bool isInterrupted()
{
    const sigset_t none{};
    sigset_t pending{};
    sigpending(&pending);
    sigandset(&pending, &pending, &interrupts());
    return std::memcmp(&pending, &none, sizeof none) != 0; // sigisemptyset of glibc 2.36 overlooks real-time signals
}

} // namespace

Failure systemFailure(const std::string& subject, int error)
{
    static const std::set<int> notThere = {ENOENT, ENOTDIR, ENODEV, ENXIO, EACCES, EPERM};
    return {notThere.count(error) != 0 ? statusNotThere : statusDeviceFailed, subject + ": " + std::strerror(error)};
}

void tell(std::string start, const std::string& text)
{
    const bool terminal = isatty(STDERR_FILENO) == 1;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); start = "  ")
        std::cerr << start << (terminal ? escaped(line) : line) << '\n';
}

void holdInterrupts()
{
    sigemptyset(&interrupts());
    // Ignored besides, for the programs: they inherit both, but a shell between may clear the mask. Here a signal that
    // is blocked stays pending whatever its disposition.
    for (const int signal : endingSignals()) {
        if (std::signal(signal, SIG_IGN) != SIG_IGN)
            sigaddset(&interrupts(), signal);
    }
    sigprocmask(SIG_BLOCK, &interrupts(), nullptr);
    // What these tell of, the write that caused them tells, too: it must not leave half a file behind.
    for (const int signal : {SIGPIPE, SIGXFSZ})
        std::signal(signal, SIG_IGN);
}

void stopIfInterrupted()
{
    if (isInterrupted())
        throw Failure(statusInterrupted, "interrupted");
}

} // namespace tool

/// The C library's, for the library's wait while an operator holds all scans: it looks for the file again and again,
/// and finds none once it is interrupted.
extern "C" int access(const char* path, int mode) noexcept
{
    if (tool::isInterrupted() && std::strcmp(path, "/temp/test.sleep") == 0) {
        errno = EINTR;
        return -1;
    }
    return faccessat(AT_FDCWD, path, mode, 0);
}

/// The C library's, for the library's waits, which take up to 1000 seconds.
extern "C" unsigned int sleep(unsigned int seconds)
{
    constexpr timespec second = {1, 0};
    for (; seconds > 0 && !tool::isInterrupted(); --seconds)
        nanosleep(&second, nullptr);
    return seconds;
}
