#include "tool/Volume.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>

#include "tool/Interrupts.h"
#include "tool/LibraryLog.h"
#include "tool/Mounts.h"
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

/// A medium that is not ready has no partitions, but that is not what is wrong with it.
Failure openFailure(const Drive& drive)
{
    const MediumState state = mediumState(drive.name);
    if (state.ready.value_or(false))
        return libraryFailure("no volume");
    return {statusDeviceFailed, "the medium is not ready: " + state.text};
}

/// The library takes a disk's name for a prefix, and another disk's may begin with it.
void requirePartitionOf(const Drive& drive, const std::set<dev_t>& devices)
{
    const std::vector<PartInfo> partitions = KRUnixMODiskImpl::getPartDataByDiskName(drive.node);
    if (partitions.empty() || !isOneOf(partitions.front().partName, devices))
        throw Failure(statusDeviceFailed, "the first partition found is not one of " + drive.node);
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

/// The mount would go where the link leads, and be found neither here nor by the library.
void requireNoLink(const std::filesystem::path& path)
{
    if (std::filesystem::is_symlink(path))
        throw Failure(statusDeviceFailed, path.string() + " is a symbolic link, and nothing is mounted on one");
}

} // namespace

Volume::Volume(const Drive& drive) : _drive(drive), _library(openByFactory(drive.name))
{
    if (_library == nullptr)
        throw openFailure(drive);
    if (!_library->isValid())
        throw libraryFailure("volume of " + drive.name);
    _devices = deviceNumbers(drive.node);
    requirePartitionOf(drive, _devices);
    if (_library->getLogicalVolume(_directory) != 0)
        throw libraryFailure("logical drive", *_library);
    stopIfInterrupted();
}

bool Volume::isMounted() const
{
    return _devices.count(deviceOn(_directory)) != 0;
}

Descriptor Volume::openMounted() const
{
    Descriptor root(open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat folder {};
    if (!root.isOpen() || fstat(root.number(), &folder) == -1)
        throw systemFailure(_directory, errno);
    if (!isMounted() || _devices.count(folder.st_dev) == 0)
        throw Failure(statusDeviceFailed, "the medium is not mounted on " + _directory);
    struct statfs system {};
    if (fstatfs(root.number(), &system) == -1 || system.f_type != MSDOS_SUPER_MAGIC)
        throw Failure(statusDeviceFailed, "the file system on " + _directory + " is not FAT");
    return root;
}

bool Volume::mount()
{
    if (isMounted())
        return false;
    requirePresent(_drive);
    requireNoLink(_directory);
    requireNoLink(std::filesystem::path(_directory).parent_path());
    const std::vector<Mount> before = mountTable();
    {
        const LibraryCall call;
        _library->mount();
    }
    if (isMounted())
        return true;
    refuseForeignMount(_library->getMountPath(), before);
    throw libraryFailure("not mounted", *_library);
}

void Volume::flush() const
{
    if (syncfs(openMounted().number()) == -1)
        throw systemFailure("flush to the medium", errno);
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

// The destructor runs for what fails from here on.
MountedVolume::MountedVolume(Volume& volume) : MountedVolume(volume, volume.mount())
{
    _root = volume.openMounted();
}

MountedVolume::~MountedVolume()
{
    try {
        finish();
    } catch (const std::exception& failure) {
        tell("krmo: ", failure.what());
    }
}

void MountedVolume::finish()
{
    _root.close();
    if (!_mountedHere)
        return;
    _mountedHere = false;
    _volume.unmount();
}

std::string MountedVolume::withDirectory(std::string text) const
{
    const std::string path = root();
    for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at))
        text.replace(at, path.size(), _volume.directory());
    return text;
}

} // namespace tool
