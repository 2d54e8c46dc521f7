#include "platform/ZOSleep.h"

#include <cerrno>
#include <ctime>

void ZOSLEEP_InTeRnAl(unsigned long milliseconds, const char* /*file*/, int /*line*/)
{
    constexpr long nanosecondsInMillisecond = 1000000;
    timespec remaining{};
    remaining.tv_sec = static_cast<time_t>(milliseconds / 1000);
    remaining.tv_nsec = static_cast<long>(milliseconds % 1000) * nanosecondsInMillisecond;
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &remaining, &remaining) == EINTR) {
    }
}
