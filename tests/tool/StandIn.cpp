// To be preloaded into krmo. REFUSED names a system call that the kernel does not know, or not with flags, and
// REFUSED_WITH the errno that it gives. ANNOUNCED names a call at which krmo is held, though it says nothing by itself
// there: before it looks at the file system of what it has just opened, or behind the making of a folder. The pipe that
// it writes to has room for one line, and the test reads one.

#include <dlfcn.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string>

static bool isNamed(const char* variable, const std::string& call)
{
    const char* const named = getenv(variable);
    return named != nullptr && call == named;
}

static bool isRefused(const std::string& call)
{
    if (!isNamed("REFUSED", call))
        return false;
    errno = atoi(getenv("REFUSED_WITH"));
    return true;
}

static void announce(const std::string& call)
{
    const std::string line = call + "\n";
    for (int i = 0; i < 3 && isNamed("ANNOUNCED", call); ++i) {
        const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        static_cast<void>(written);
    }
}

extern "C" int fstatfs(int descriptor, struct statfs* system) noexcept
{
    static const auto next = reinterpret_cast<int (*)(int, struct statfs*)>(dlsym(RTLD_NEXT, "fstatfs"));
    announce("fstatfs");
    return next(descriptor, system);
}

extern "C" int mkdirat(int folder, const char* name, mode_t mode) noexcept
{
    static const auto next = reinterpret_cast<int (*)(int, const char*, mode_t)>(dlsym(RTLD_NEXT, "mkdirat"));
    const int result = next(folder, name, mode);
    announce("mkdirat");
    return result;
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
