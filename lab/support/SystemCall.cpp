#include "lab/support/SystemCall.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace lab {

int checked(int result, const std::string& step)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), step);
    }
    return result;
}

Descriptor openFile(const std::string& path, int flags)
{
    return Descriptor(checked(::open(path.c_str(), flags | O_CLOEXEC, 0666), "open " + path));
}

void writeAll(int descriptor, const void* data, size_t size)
{
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(descriptor, next, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        checked(static_cast<int>(written), "write");
        next += written;
        size -= static_cast<size_t>(written);
    }
}

bool readOnto(std::string& text, int descriptor)
{
    std::array<char, 16384> buffer;
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    text.append(buffer.data(), count > 0 ? static_cast<size_t>(count) : 0);
    return count > 0;
}

Pipe::Pipe(int moreFlags)
{
    int ends[2];
    checked(::pipe2(ends, O_CLOEXEC | moreFlags), "pipe");
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
}

} // namespace lab
