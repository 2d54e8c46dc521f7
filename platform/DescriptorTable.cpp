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
int openNode(const std::string& path, int access)
{
    return open(path.c_str(), access | O_NONBLOCK | O_CLOEXEC);
}

int openAsAllowed(const std::string& path)
{
    const int descriptor = openNode(path, O_RDWR);
    return descriptor == -1 && (errno == EROFS || errno == EACCES) ? openNode(path, O_RDONLY) : descriptor;
}

bool isReadOnly(int descriptor)
{
    return (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY;
}

} // namespace

OpenDevice openDevice(const std::string& name)
{
    DescriptorTable& table = DescriptorTable::instance();
    table.letGoOfGone();
    const std::optional<ScsiDevice> device = ScsiDevice::find(name);
    const std::optional<DeviceNode> node = device ? device->commandNode() : std::nullopt;
    return node ? table.open(device->address(), *node) : OpenDevice();
}

DescriptorTable& DescriptorTable::instance()
{
    static auto* const table = new DescriptorTable;
    return *table;
}

OpenDevice DescriptorTable::open(const std::string& address, const DeviceNode& node)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    Entry& entry = _entries[address];
    if (!isLive(entry, node))
        return {renew(entry, node, UniqueDescriptor(openAsAllowed(node.path))), &entry.shared};
    if (isReadOnly(entry.descriptor)) // for which the medium may have been the reason, and another may be in
        renew(entry, node, UniqueDescriptor(openNode(node.path, O_RDWR)));
    return {entry.descriptor, &entry.shared};
}

void DescriptorTable::letGoOfGone()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    for (auto& [address, entry] : _entries) {
        if (!isGone(entry))
            continue;
        UniqueDescriptor place(::open("/", O_PATH | O_CLOEXEC));
        struct stat file = {};
        if (place.get() != -1 && fstat(place.get(), &file) == 0)
            put(entry, place, file);
    }
}

bool DescriptorTable::isLive(const Entry& entry, const DeviceNode& node)
{
    struct stat file = {};
    return entry.descriptor != -1 && stat(node.path.c_str(), &file) == 0 && describes(entry.descriptor, file) &&
           answers(entry.descriptor, node.kind);
}

/// A disk that is offline answers with ENODEV, too, but is still there.
bool DescriptorTable::isGone(const Entry& entry)
{
    return describes(entry.descriptor, entry.file) && !answers(entry.descriptor, entry.file.st_mode & S_IFMT) &&
           errno == ENODEV && !ScsiDevice::of(entry.file);
}

int DescriptorTable::renew(Entry& entry, const DeviceNode& node, UniqueDescriptor opened)
{
    struct stat file = {};
    if (opened.get() == -1 || fstat(opened.get(), &file) == -1)
        return -1;
    if ((file.st_mode & S_IFMT) != node.kind || file.st_rdev != node.number) {
        errno = ENODEV; // the node became another device's after it was found
        return -1;
    }
    return put(entry, opened, file);
}

/// A number that the host closed by mistake may be free, be what was opened just now, or be a file of the host's own:
/// only what is still ours is replaced.
int DescriptorTable::put(Entry& entry, UniqueDescriptor& opened, const struct stat& file)
{
    if (entry.descriptor == -1 || entry.descriptor == opened.get()) {
        entry.descriptor = opened.release();
    } else if (!describes(entry.descriptor, entry.file)) {
        const int copy = fcntl(opened.get(), F_DUPFD_CLOEXEC, entry.descriptor); // the number itself where it is free
        entry.descriptor = copy != -1 ? copy : opened.release();
    } else if (dup3(opened.get(), entry.descriptor, O_CLOEXEC) == -1) {
        return -1;
    }
    if (!isSameFile(entry.file, file))
        entry.shared.forgetCommands();
    entry.file = file;
    return entry.descriptor;
}

} // namespace scsi
