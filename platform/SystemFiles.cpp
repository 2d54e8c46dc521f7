#include "platform/SystemFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <utility>

namespace scsi {

UniqueDescriptor::UniqueDescriptor(int descriptor) : _descriptor(descriptor) {}

UniqueDescriptor::~UniqueDescriptor()
{
    if (_descriptor == -1)
        return;
    const int error = errno;
    close(_descriptor);
    errno = error;
}

int UniqueDescriptor::get() const
{
    return _descriptor;
}

int UniqueDescriptor::release()
{
    return std::exchange(_descriptor, -1);
}

std::string readAttribute(const std::string& path)
{
    constexpr std::size_t longestAttribute = 4096; // sysfs gives a page at most, and gives it in one read
    const UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() == -1)
        return {};
    std::string text(longestAttribute, '\0');
    const ssize_t length = read(file.get(), text.data(), text.size());
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return text;
}

void writeAttribute(const std::string& path, const std::string& text)
{
    const UniqueDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    [[maybe_unused]] const ssize_t length = write(file.get(), text.data(), text.size());
}

std::vector<std::string> namesIn(const std::string& directory)
{
    struct Close {
        void operator()(DIR* stream) const { closedir(stream); }
    };
    std::vector<std::string> names;
    const std::unique_ptr<DIR, Close> stream(opendir(directory.c_str()));
    if (!stream)
        return names;
    while (const dirent* const entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

std::string resolvedPath(const std::string& path)
{
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
    return resolved ? std::string(resolved.get()) : std::string();
}

} // namespace scsi
