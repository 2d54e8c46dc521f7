#include "tool/Volume.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "tool/Interrupts.h"
#include "tool/LibraryLog.h"
#include "tool/MediumContents.h"
#include "tool/SystemDrives.h"
#include "unix/KRUnixMODiskImpl.h"

namespace tool {

namespace {

/// @return null: the library could not open it.
std::unique_ptr<KRHardDiskDrive> openByFactory(const std::string& name)
{
    constexpr int removableHardDisk = 11001;
    constexpr long long deviceId = 1;
    const LibraryCall call;
    return std::unique_ptr<KRHardDiskDrive>(
        dynamic_cast<KRHardDiskDrive*>(KRScsiMODiskDrive::instance(removableHardDisk, name, deviceId, true)));
}

/// The library has one code for whatever can't be mounted.
Failure knownBetter(const Drive& drive, const Failure& failure)
{
    const std::string contents = unusableContents(drive.node);
    return contents.empty() ? failure : Failure(statusDeviceFailed, contents);
}

/// A medium that is not ready has no partitions, but that is not what is wrong with it.
Failure openFailure(const Drive& drive)
{
    const Failure failure = libraryFailure("no volume");
    const MediumState state = mediumState(drive.name);
    if (!state.ready.value_or(false))
        return {statusDeviceFailed, "the medium is not ready: " + state.text};
    return knownBetter(drive, failure);
}

/// The library takes a disk's name for a prefix, and another disk's may begin with it.
std::string requiredPartition(const Drive& drive, const std::set<dev_t>& devices)
{
    const std::vector<PartInfo> partitions = KRUnixMODiskImpl::getPartDataByDiskName(drive.node);
    if (partitions.empty() || !isOneOf(partitions.front().partName, devices))
        throw Failure(statusDeviceFailed, "the first partition found is not one of " + drive.node);
    return partitions.front().partName;
}

/// The device that is mounted on a directory; 0 without one.
dev_t deviceOn(const std::string& directory)
{
    const std::vector<Mount> table = mountTable();
    const auto found = std::find_if(table.rbegin(), table.rend(),
                                    [&directory](const Mount& mount) { return mount.directory == directory; });
    return found == table.rend() ? 0 : found->device;
}

/// A drive that goes away and comes back while the library waits for it has no node for the library then; the library
/// takes the machine's first partition for the drive's.
void refuseForeignMount(const std::string& directory, const std::vector<Mount>& before)
{
    const dev_t device = deviceOn(directory);
    const bool wasThere = std::any_of(before.begin(), before.end(), [&](const Mount& mount) {
        return mount.directory == directory && mount.device == device;
    });
    if (device == 0 || wasThere)
        return;
    const bool cleared = umount2(directory.c_str(), 0) == 0;
    throw Failure(statusDeviceFailed, "the drive went away and came back, and the library mounted another medium on " +
                                          directory + (cleared ? "; it is unmounted again" : ", where it still is"));
}

bool isOn(const Descriptor& file, const std::set<dev_t>& devices)
{
    struct stat status {};
    return fstat(file.number(), &status) == 0 && devices.count(status.st_dev) != 0;
}

void requireFat(const Descriptor& root, const std::string& directory)
{
    struct statfs system {};
    if (fstatfs(root.number(), &system) == -1 || system.f_type != MSDOS_SUPER_MAGIC)
        throw Failure(statusDeviceFailed, "the file system on " + directory + " is not FAT");
}

/// The mount would go where the link leads, and be found neither here nor by the library.
void requireNoLink(const std::filesystem::path& path)
{
    if (std::filesystem::is_symlink(path))
        throw Failure(statusDeviceFailed, path.string() + " is a symbolic link, and nothing is mounted on one");
}

} // namespace

Volume::Volume(const Drive& drive, MountedFor whom)
    : _drive(drive), _whom(whom), _visibleRoot(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC))
{
    if (!_visibleRoot.isOpen())
        throw systemFailure("/", errno);
    if (whom == MountedFor::thisProcess)
        takeOwnMounts(); // before the library looks: it unmounts what a disk without partitions has mounted
    _library = openByFactory(drive.name);
    if (_library == nullptr)
        throw openFailure(drive);
    if (!_library->isValid())
        throw libraryFailure("volume of " + drive.name);
    _devices = deviceNumbers(drive.node);
    _partition = requiredPartition(drive, _devices);
    if (_library->getLogicalVolume(_directory) != 0)
        throw libraryFailure("logical drive", *_library);
    stopIfInterrupted();
}

bool Volume::isMounted() const
{
    const std::vector<Mount> mounts = mountsOf(_devices);
    return std::any_of(mounts.begin(), mounts.end(), [this](const Mount& mount) {
        return mount.directory == _directory && !(mount.received && _whom == MountedFor::thisProcess);
    });
}

Descriptor Volume::openMounted() const
{
    Descriptor root(open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!root.isOpen())
        throw systemFailure(_directory, errno);
    if (!isMounted() || !isOn(root, _devices))
        throw Failure(statusDeviceFailed, "the medium is not mounted on " + _directory);
    requireFat(root, _directory);
    return root;
}

Descriptor Volume::openVisible() const
{
    const std::string belowRoot = _directory.substr(1);
    Descriptor root(openat(_visibleRoot.number(), belowRoot.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!root.isOpen() || !isOn(root, _devices))
        return Descriptor();
    requireFat(root, _directory);
    return root;
}

bool Volume::mount()
{
    if (isMounted())
        return false;
    requirePresent(_drive);
    requireNoLink(_directory);
    requireNoLink(std::filesystem::path(_directory).parent_path());
    noticeDirtyMark();
    const std::vector<Mount> before = mountTable();
    {
        const LibraryCall call;
        _library->mount();
    }
    if (isMounted() || openVisible().isOpen())
        return true;
    const Failure failure = libraryFailure("not mounted", *_library);
    refuseForeignMount(_library->getMountPath(), before);
    if (isInUse(_partition))
        requireFree();
    throw knownBetter(_drive, failure);
}

void Volume::noticeDirtyMark()
{
    if (!_warning.empty() || !isMarkedDirty(_partition).value_or(false))
        return;
    _warning = damagedText(_partition, dirtySign);
    tell("krmo: ", "warning: " + _warning);
}

// A mount that was asked to be read-only is so by its own options, too.
void Volume::requireNoErrors() const
{
    for (const Mount& mount : mountsOf(_devices)) {
        if (mount.directory == _directory && hasOption(mount.mountOptions, "rw") && hasOption(mount.options, "ro"))
            throw Failure(statusDeviceFailed, damagedText(_partition, "the kernel made it read-only after an error"));
    }
}

void Volume::flush() const
{
    if (syncfs(openMounted().number()) == -1)
        throw systemFailure("flush to the medium", errno);
}

bool Volume::forget() const
{
    const Descriptor unused(open(_partition.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
    const Descriptor node(open(_partition.c_str(), O_RDONLY | O_CLOEXEC));
    posix_fadvise(node.number(), 0, 0, POSIX_FADV_DONTNEED);
    return unused.isOpen() && ioctl(unused.number(), BLKFLSBUF) == 0;
}

bool Volume::takeAway() const
{
    return umount2(_directory.c_str(), 0) == 0 && !isMounted();
}

void Volume::unmount()
{
    try {
        requirePresent(_drive);
        const LibraryCall call;
        _library->unmount();
    } catch (const Failure&) {
        umount2(_directory.c_str(), 0); // the library would wait for the drive to come back
    }
    if (!isMounted())
        return;
    const Failure failure = libraryFailure("not unmounted", *_library);
    throw Failure(statusDeviceFailed, failure.what() + holdersOf(_devices));
}

} // namespace tool
