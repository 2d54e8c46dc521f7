#include "tool/Failure.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <set>

namespace tool {

namespace {

sigset_t& interrupts()
{
    static sigset_t signals;
    return signals;
}

} // namespace

Failure systemFailure(const std::string& subject, int error)
{
    static const std::set<int> notThere = {ENOENT, ENOTDIR, ENODEV, ENXIO, EACCES, EPERM};
    return {notThere.count(error) != 0 ? statusNotThere : statusDeviceFailed, subject + ": " + std::strerror(error)};
}

void holdInterrupts()
{
    sigemptyset(&interrupts());
    // Ignored besides, for the programs: they inherit both, but a shell between may clear the mask. Here a signal that
    // is blocked stays pending whatever its disposition.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (std::signal(signal, SIG_IGN) != SIG_IGN)
            sigaddset(&interrupts(), signal);
    }
    sigprocmask(SIG_BLOCK, &interrupts(), nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away must not leave a mounted medium behind
}

void stopIfInterrupted()
{
    sigset_t pending;
    sigpending(&pending);
    sigandset(&pending, &pending, &interrupts());
    if (sigisemptyset(&pending) == 0)
        throw Failure(statusInterrupted, "interrupted");
}

} // namespace tool
