// To be preloaded into krmo: REFUSED names a system call that the kernel does not know, or not with flags, and
// REFUSED_WITH the errno that it gives.

#include <dlfcn.h>
#include <stdio.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

static bool isRefused(std::string_view call)
{
    const char* const refused = getenv("REFUSED");
    if (refused == nullptr || call != refused)
        return false;
    errno = atoi(getenv("REFUSED_WITH"));
    return true;
}

extern "C" int renameat2(int source, const char* old, int target, const char* fresh, unsigned int flags)
{
    static const auto next = reinterpret_cast<decltype(&renameat2)>(dlsym(RTLD_NEXT, "renameat2"));
    return isRefused("renameat2") && flags != 0 ? -1 : next(source, old, target, fresh, flags);
}

extern "C" long syscall(long number, ...)
{
    static const auto next = reinterpret_cast<decltype(&syscall)>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_openat2 && isRefused("openat2"))
        return -1;
    return next(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}
