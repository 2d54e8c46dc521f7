// To be preloaded into a program that waits for minutes where it can do no more: waits of five seconds and longer
// return at once, as if the time had passed. Shorter ones are left alone, for programs poll with them.
//
// With a command in LAB_DURING_WAIT, waits of a second and more return at once, too, and the command runs in the first
// of them: what happens while a program waits.
//
// With a number in LAB_COMMAND_SECONDS, so long and no longer the kernel waits for the answer to a command that the
// program sends by SG_IO.

#include <dlfcn.h>
#include <scsi/sg.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <string>

namespace {

constexpr time_t shortestSkipped = 5;
const char* const commandVariable = "LAB_DURING_WAIT";

bool runCommand()
{
    const char* const variable = getenv(commandVariable);
    if (variable == nullptr) {
        return false;
    }
    const std::string command = variable;
    unsetenv(commandVariable); // the command has waits of its own
    return system(command.c_str()) == 0;
}

bool isSkipped(time_t seconds)
{
    if (seconds < 1) {
        return false;
    }
    static const bool commandSucceeded = runCommand();
    return commandSucceeded || seconds >= shortestSkipped;
}

// Of an absolute wait, what is left counts.
bool isSkippedUntil(clockid_t clock, const timespec* end)
{
    timespec now{};
    clock_gettime(clock, &now);
    return isSkipped(end->tv_sec - now.tv_sec);
}

template <typename Function>
Function original(Function /*ours*/, const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

/// Found by the program in the place of ioctl, whose third argument it takes by its place.
extern "C" int shorteningIoctl(int descriptor, unsigned long request, void* argument) __asm__("ioctl");

extern "C" int shorteningIoctl(int descriptor, unsigned long request, void* argument)
{
    constexpr unsigned milliseconds = 1000;
    const char* const seconds = getenv("LAB_COMMAND_SECONDS");
    if (request == SG_IO && seconds != nullptr) {
        static_cast<sg_io_hdr*>(argument)->timeout = milliseconds * static_cast<unsigned>(atoi(seconds));
    }
    return original(&shorteningIoctl, "ioctl")(descriptor, request, argument);
}

extern "C" unsigned sleep(unsigned seconds)
{
    return isSkipped(seconds) ? 0 : original(&sleep, "sleep")(seconds);
}

extern "C" int nanosleep(const timespec* wait, timespec* left)
{
    return isSkipped(wait->tv_sec) ? 0 : original(&nanosleep, "nanosleep")(wait, left);
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* wait, timespec* left)
{
    const bool skip = (flags & TIMER_ABSTIME) != 0 ? isSkippedUntil(clock, wait) : isSkipped(wait->tv_sec);
    return skip ? 0 : original(&clock_nanosleep, "clock_nanosleep")(clock, flags, wait, left);
}
