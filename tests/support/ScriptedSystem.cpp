// The C library, as the script tells: the dynamic linker takes an executable's functions before a library's.

#include <cstdarg>
#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "tests/support/Script.h"

static std::string redirected(const char* path)
{
    return std::string(path).rfind("/sdb", 0) == 0 ? *script.root + path : path;
}

static FILE* streamOn(const std::string& text)
{
    static std::deque<std::string> texts; // some streams are never closed
    return fmemopen(texts.emplace_back(text).data(), text.size(), "r");
}

/// A byte a read, and before each one a signal.
static FILE* interruptedStreamOn(const std::string& text)
{
    struct Source {
        std::string text;
        std::size_t reads = 0;
    };
    static std::deque<Source> sources;
    const auto read = [](void* cookie, char* byte, std::size_t) -> ssize_t {
        Source& source = *static_cast<Source*>(cookie);
        if (source.reads++ % 2 == 0)
            return errno = EINTR, -1;
        return static_cast<ssize_t>(source.text.copy(byte, 1, std::min(source.reads / 2 - 1, source.text.size())));
    };
    return fopencookie(&sources.emplace_back(Source{text}), "r", {read, nullptr, nullptr, nullptr});
}

extern "C" {

FILE* popen(const char* line, const char* mode)
{
    EXPECT_STREQ(mode, "r");
    note(std::string("$ ") + line);
    errno = EAGAIN;
    if (--script.failingCommand == 0)
        return nullptr;
    const std::string text = script.tools[line];
    if (script.toolsLater.count(line) != 0)
        script.tools[line] = script.toolsLater[line];
    return script.signals ? interruptedStreamOn(text) : streamOn(text);
}

int pclose(FILE* stream)
{
    note("$ closed");
    fclose(stream);
    return 256; // exit status 1, which nobody looks at
}

int fflush(FILE* stream)
{
    if (stream == nullptr)
        note("fflush");
    return fflush_unlocked(stream);
}

unsigned int sleep(unsigned int seconds)
{
    note("sleep " + std::to_string(seconds));
    return 0;
}

FILE* setmntent(const char* file, const char* mode) noexcept
{
    EXPECT_EQ(std::string(file) + mode, "/etc/mtabr+");
    const std::optional<std::string> table = script.mountTables.front();
    if (script.mountTables.size() > 1)
        script.mountTables.pop_front();
    errno = script.noDescriptorFor == file ? EMFILE : EACCES;
    return table && errno == EACCES ? streamOn(*table) : nullptr;
}

int access(const char* path, int mode) noexcept
{
    EXPECT_TRUE(std::string(path) == "/temp/test.sleep" && mode == F_OK);
    return script.heldScans-- > 0 ? 0 : -1;
}

int endmntent(FILE* stream) noexcept
{
    note("table closed");
    return fclose(stream) + 1;
}

int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (script.noDescriptorFor == path)
        return errno = EMFILE, -1;
    if (mode != 0)
        note("created with " + std::to_string(mode));
    return openat(AT_FDCWD, redirected(path).c_str(), flags, mode);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));

int mkdir(const char* path, mode_t mode) noexcept
{
    note(std::string("mkdir ") + path + " " + std::to_string(mode));
    return mkdirat(AT_FDCWD, redirected(path).c_str(), mode);
}

int statvfs64(const char* path, struct statvfs64* space) noexcept
{
    space->f_bsize = 1UL << 32; // the products need 64 bits
    space->f_frsize = 512;
    space->f_bavail = 3;
    space->f_bfree = 5;
    errno = ENOENT;
    return std::string(path) == "/sdb1/KRMT" ? 0 : -1;
}
}
