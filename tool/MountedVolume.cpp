#include "tool/MountedVolume.h"

#include <fcntl.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tool/BootSector.h"

namespace tool {

namespace {

/// The mount alone: the file system may have others.
void makeReadOnly(const std::string& path)
{
    if (mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == -1)
        throw systemFailure("read-only mount", errno);
}

} // namespace

// The destructor runs for what fails from here on.
MountedVolume::MountedVolume(Volume& volume, Access access) : MountedVolume(volume, access, volume.openVisible())
{
    attach();
}

MountedVolume::~MountedVolume()
{
    try {
        _root.close();
        _own = _own && !_volume.takeAway();
        finish();
    } catch (const std::exception& failure) {
        tell("krmo: ", failure.what());
    }
}

void MountedVolume::attach()
{
    if (!_root.isOpen())
        attachOwn();
    if (!_root.isOpen())
        throw Failure(statusDeviceFailed, "somebody else mounts and unmounts " + _volume.directory());
    if (_access == Access::reading)
        return;
    _volume.requireNoErrors();
    requireSameMedium();
}

void MountedVolume::attachOwn()
{
    _volume.mount();
    _own = _volume.isMounted();
    _root = _own ? _volume.openMounted() : _volume.openVisible(); // where somebody else was faster
    if (_own && _access == Access::reading)
        makeReadOnly(root());
}

bool MountedVolume::refresh()
{
    if (!_own) {
        if (syncfs(_root.number()) == -1)
            throw systemFailure("flush", errno);
        _volume.forget();
        return false;
    }
    finish();
    const bool forgotten = _volume.forget();
    _root = _volume.openVisible();
    attach();
    return forgotten && _own;
}

void MountedVolume::requireSameMedium() const
{
    std::uint32_t mounted = 0;
    if (ioctl(_root.number(), FAT_IOCTL_GET_VOLUME_ID, &mounted) == -1)
        throw systemFailure("identifier of the mounted medium", errno);
    const std::optional<BootSector> inDrive = BootSector::of(_volume.partition());
    if (!inDrive)
        throw systemFailure(_volume.partition(), errno);
    if (!inDrive->isFat() || inDrive->volumeId() != mounted)
        throw Failure(statusDeviceFailed, "another medium is in the drive than the one that is mounted on " +
                                              _volume.directory() + "; nothing more is written");
}

void MountedVolume::finish()
{
    _root.close();
    if (std::exchange(_own, false))
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
