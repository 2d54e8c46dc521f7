#include "tests/platform/FakeSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

namespace files = std::filesystem;

namespace {

FakeSystem* current = nullptr;

std::string real(const std::string& path)
{
    const bool isFaked = path.rfind("/sys/", 0) == 0 || (path + "/").rfind("/dev/", 0) == 0;
    return (isFaked && current != nullptr ? current->root : "") + path;
}

int fakeStat(int directory, const std::string& path, struct stat* file, int flags)
{
    const int result = fstatat(directory, path.c_str(), file, flags);
    if (result == 0 && current != nullptr && current->nodes.count(file->st_ino) != 0)
        std::tie(file->st_mode, file->st_rdev) = current->nodes[file->st_ino];
    return result;
}

std::ofstream fileAt(const files::path& path)
{
    files::create_directories(path.parent_path());
    return std::ofstream(path);
}

} // namespace

extern "C" {

int stat(const char* path, struct stat* file) noexcept
{
    return fakeStat(AT_FDCWD, real(path), file, 0);
}

int lstat(const char* path, struct stat* file) noexcept
{
    return fakeStat(AT_FDCWD, real(path), file, AT_SYMLINK_NOFOLLOW);
}

int fstat(int descriptor, struct stat* file) noexcept
{
    return fakeStat(descriptor, "", file, AT_EMPTY_PATH);
}

char* realpath(const char* path, char* /*buffer*/) noexcept
{
    const std::unique_ptr<char, decltype(&free)> resolved(canonicalize_file_name(real(path).c_str()), free);
    return resolved ? strdup(resolved.get() + current->root.size()) : nullptr;
}

DIR* opendir(const char* path)
{
    return fdopendir(openat(AT_FDCWD, real(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

int open(const char* path, int flags, ...)
{
    const int access = flags & O_ACCMODE;
    const bool isDevice = current != nullptr && std::string(path).rfind("/dev/", 0) == 0;
    const bool isExclusive = (flags & O_EXCL) != 0 && (flags & O_CREAT) == 0;
    if (isDevice || access == O_WRONLY)
        current->calls.push_back(path + (" " + std::to_string(access)) + (isExclusive ? " exclusive" : ""));
    if (isDevice && current->becomes.count(path) != 0)
        current->renumber(path, current->becomes[path]);
    errno = isDevice && access != O_RDONLY ? current->refusal : 0;
    if (isDevice && isExclusive && current->claimed.count(path) != 0)
        errno = EBUSY;
    return errno != 0 ? -1 : openat(AT_FDCWD, real(path).c_str(), flags, 0600);
}

int ioctl(int descriptor, unsigned long request, void* argument)
{
    struct stat file = {};
    errno = fstat(descriptor, &file) == 0 && current->gone.count(file.st_ino) != 0 ? ENODEV : 0;
    if (fcntl(descriptor, F_GETFL) == -1 || (fcntl(descriptor, F_GETFL) & O_PATH) != 0)
        errno = EBADF;
    else if (errno == 0 && request == SG_IO)
        errno = current->answer(*static_cast<sg_io_hdr*>(argument));
    else if (errno == 0 && request == BLKRRPART)
        current->calls.push_back("BLKRRPART");
    else if (errno == 0 && request != (S_ISCHR(file.st_mode) ? SG_GET_SCSI_ID : 0x5382))
        errno = ENOTTY;
    return errno == 0 ? 0 : -1;
}

} // extern "C"

FakeSystem::FakeSystem() : root(mkdtemp(std::string("/tmp/fakeSystemXXXXXX").data()))
{
    current = this;
}

FakeSystem::~FakeSystem()
{
    current = nullptr;
    files::remove_all(root);
}

void FakeSystem::addNode(const std::string& path, mode_t kind, int majorNumber, int minorNumber)
{
    fileAt(root + path);
    gone.erase(renumber(path, {kind, makedev(majorNumber, minorNumber)}));
}

ino_t FakeSystem::renumber(const std::string& path, const Node& node)
{
    struct stat file = {};
    stat(path.c_str(), &file);
    nodes[file.st_ino] = node;
    return file.st_ino;
}

void FakeSystem::addLink(const std::string& path, const std::string& destination)
{
    files::create_directories(files::path(root + path).parent_path());
    files::create_symlink(root + destination, root + path);
}

void FakeSystem::plug(const std::string& address, const std::vector<std::string>& names, int minor, const char* bus)
{
    const std::string device = "/sys/devices/" + address;
    const std::string subsystem = std::string("/sys/bus/") + bus;
    addLink(subsystem + "/devices/" + address, device);
    addLink(device + "/subsystem", subsystem);
    set(device + "/rescan", "");
    for (const std::string& name : names) {
        const bool isBlock = name.rfind("sg", 0) != 0;
        const std::string number = (isBlock ? "8:" : "21:") + std::to_string(minor);
        const std::string directory = device + (isBlock ? "/block/" : "/scsi_generic/") + name;
        fileAt(root + directory + "/dev") << number << "\n";
        fileAt(root + directory + "/uevent") << "MINOR=1\nDEVNAME=" << name << "\nDEVTYPE=disk\n";
        addLink((isBlock ? "/sys/dev/block/" : "/sys/dev/char/") + number + "/device", device);
        addNode("/dev/" + name, isBlock ? S_IFBLK : S_IFCHR, isBlock ? 8 : 21, minor);
    }
}

void FakeSystem::unplugAll()
{
    for (auto& [inode, node] : nodes)
        gone.insert(inode);
    files::remove_all(root + "/sys");
    files::remove_all(root + "/dev");
}

void FakeSystem::set(const std::string& path, const std::string& text)
{
    fileAt(root + path) << text;
}

std::string FakeSystem::content(const std::string& path) const
{
    std::ifstream file(root + path);
    return {std::istreambuf_iterator<char>(file), {}};
}
