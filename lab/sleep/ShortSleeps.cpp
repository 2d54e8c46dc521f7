// To be preloaded into a program that waits for minutes where it can do no more: waits of five seconds and longer
// return at once, as if the time had passed. Shorter ones are left alone, for programs poll with them.

#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr unsigned longestSeconds = 5;

bool isLong(const timespec* wait)
{
    return wait->tv_sec >= static_cast<time_t>(longestSeconds);
}

// An absolute wait is long by what is left of it.
bool isLongUntil(clockid_t clock, const timespec* end)
{
    timespec now{};
    clock_gettime(clock, &now);
    return end->tv_sec - now.tv_sec >= static_cast<time_t>(longestSeconds);
}

template <typename Function>
Function original(Function /*ours*/, const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" unsigned sleep(unsigned seconds)
{
    return seconds >= longestSeconds ? 0 : original(&sleep, "sleep")(seconds);
}

extern "C" int nanosleep(const timespec* wait, timespec* left)
{
    return isLong(wait) ? 0 : original(&nanosleep, "nanosleep")(wait, left);
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* wait, timespec* left)
{
    const bool isSkipped = (flags & TIMER_ABSTIME) != 0 ? isLongUntil(clock, wait) : isLong(wait);
    return isSkipped ? 0 : original(&clock_nanosleep, "clock_nanosleep")(clock, flags, wait, left);
}
