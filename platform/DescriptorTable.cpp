#include "platform/DescriptorTable.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>

#include "platform/ScsiDevice.h"
#include "platform/SystemFiles.h"

namespace scsi {

namespace {

bool isSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_rdev == other.st_rdev;
}

bool describes(int descriptor, const struct stat& file)
{
    struct stat now = {};
    return fstat(descriptor, &now) == 0 && isSameFile(now, file);
}

/// Both requests are answered without a command to the drive, and with ENODEV once the kernel has let go of it.
bool answers(int descriptor, mode_t kind)
{
    constexpr unsigned long scsiIoctlGetIdlun = 0x5382; // in the kernel's <scsi/scsi.h>, not in the C library's
    sg_scsi_id genericAddress{};
    std::uint32_t blockAddress[2] = {};
    if (kind == S_IFCHR)
        return ioctl(descriptor, SG_GET_SCSI_ID, &genericAddress) == 0;
    return ioctl(descriptor, scsiIoctlGetIdlun, &blockAddress) == 0;
}

/// O_NONBLOCK lets a block node open without a medium, and a generic node without waiting for another holder.
int openNode(const std::string& path)
{
    constexpr int flags = O_NONBLOCK | O_CLOEXEC;
    const int descriptor = open(path.c_str(), O_RDWR | flags);
    if (descriptor == -1 && (errno == EROFS || errno == EACCES))
        return open(path.c_str(), O_RDONLY | flags);
    return descriptor;
}

} // namespace

int openDevice(const std::string& name)
{
    const std::optional<ScsiDevice> device = ScsiDevice::find(name);
    const std::optional<DeviceNode> node = device ? device->commandNode() : std::nullopt;
    return node ? DescriptorTable::instance().open(device->address(), *node) : -1;
}

DescriptorTable& DescriptorTable::instance()
{
    static auto* const table = new DescriptorTable;
    return *table;
}

int DescriptorTable::open(const std::string& address, const DeviceNode& node)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    Entry& entry = _entries[address];
    return isLive(entry, node) ? entry.descriptor : renew(entry, node);
}

bool DescriptorTable::isLive(const Entry& entry, const DeviceNode& node)
{
    struct stat file = {};
    return entry.descriptor != -1 && stat(node.path.c_str(), &file) == 0 && describes(entry.descriptor, file) &&
           answers(entry.descriptor, node.kind);
}

int DescriptorTable::renew(Entry& entry, const DeviceNode& node)
{
    UniqueDescriptor opened(openNode(node.path));
    struct stat file = {};
    if (opened.get() == -1 || fstat(opened.get(), &file) == -1)
        return -1;
    if ((file.st_mode & S_IFMT) != node.kind || file.st_rdev != node.number) {
        errno = ENODEV; // the node became another device's after it was found
        return -1;
    }
    // A number that the host closed by mistake may be a file of its own by now: only what is still ours is replaced.
    if (entry.descriptor == -1 || !describes(entry.descriptor, entry.file))
        entry.descriptor = opened.release();
    else if (dup3(opened.get(), entry.descriptor, O_CLOEXEC) == -1)
        return -1;
    entry.file = file;
    return entry.descriptor;
}

} // namespace scsi
