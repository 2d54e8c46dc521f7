#include "tool/Interrupts.h"

#include <csignal>
#include <ctime>

#include "tool/Failure.h"

namespace tool {

namespace {

sigset_t& interrupts()
{
    static sigset_t signals;
    return signals;
}

bool isInterrupted()
{
    sigset_t pending;
    sigpending(&pending);
    sigandset(&pending, &pending, &interrupts());
    return sigisemptyset(&pending) == 0;
}

} // namespace

void holdInterrupts()
{
    sigemptyset(&interrupts());
    // Ignored besides, for the programs: they inherit both, but a shell between may clear the mask. Here a signal that
    // is blocked stays pending whatever its disposition.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        if (std::signal(signal, SIG_IGN) != SIG_IGN)
            sigaddset(&interrupts(), signal);
    }
    sigprocmask(SIG_BLOCK, &interrupts(), nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away must not leave a mounted medium behind
}

void stopIfInterrupted()
{
    if (isInterrupted())
        throw Failure(statusInterrupted, "interrupted");
}

} // namespace tool

/// The C library's, for the library's waits, which take up to 1000 seconds.
extern "C" unsigned int sleep(unsigned int seconds)
{
    constexpr timespec second = {1, 0};
    for (; seconds > 0 && !tool::isInterrupted(); --seconds)
        nanosleep(&second, nullptr);
    return seconds;
}
