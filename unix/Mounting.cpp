// Mounting and unmounting of the medium's first partition, and the clearing of a disk's stale mounts.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "backend/HostLog.h"
#include "unix/CaughtException.h"
#include "unix/Command.h"
#include "unix/FirstPartition.h"
#include "unix/KRUnixMODiskImpl.h"
#include "unix/ListingText.h"
#include "unix/MountTable.h"

namespace {

constexpr int mounted = 0;
constexpr int notMounted = 1;
constexpr int noMountTable = -1;

/// Unmounts by device. A failure is told at the trace level, since clearing stale mounts is an attempt.
void unmountStale(const std::string& device)
{
    const std::string line = "umount " + device;
    logToHost(traceLevel, noDevice, {"Issuing unmount command for device ", device});
    Command command(line);
    if (!command.started()) {
        logToHost(backendLevel, noDevice, {"Error popen :: ", line});
        return;
    }
    const std::string output = command.readAll();
    command.close();
    if (output.empty())
        logToHost(traceLevel, noDevice, {"Successfully unmounted device ", device});
    else
        logToHost(traceLevel, noDevice, {"Failed to unmount ", device, ". Error[", output, "]"});
}

/// Whether the directory is one that the library made.
bool isOurs(const std::string& directory, const std::string& diskName)
{
    const std::size_t slash = directory.rfind('/');
    if (slash == std::string::npos) { // excluded by the caller; the line names the disk all the same
        logToHost(backendLevel, noDevice, {"Invalid mount point : ", diskName, ". No unmount will be attempted."});
        return false;
    }
    return directory.compare(slash + 1, std::string::npos, mountLeaf) == 0;
}

} // namespace

// What mounting and unmounting begin with: the drive is opened and its medium's mount directory looked up.
bool KRUnixMODiskImpl::findMountDirectory(std::string& directory)
{
    if (!openDevice())
        return false;
    if (GetLogicaldriveLetter(_devicePath, directory))
        return true;
    recordCaughtException(*this);
    return false;
}

// What they go on with: the inventory is read anew and the disk's first partition taken.
bool KRUnixMODiskImpl::findPartition()
{
    if (!scan()) {
        logToHost(backendLevel, noDevice, {"Failed to get the partition device file name."});
        return false;
    }
    std::string partName;
    if (!findFirstPartition(getNativePath(), errorLevel, partName))
        return false;
    setPartNativePath(partName);
    return true;
}

bool KRUnixMODiskImpl::DoMount()
{
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::DoMount().");
    std::string directory;
    if (!findMountDirectory(directory))
        return false;
    setMountPoint(directory);
    if (!findPartition())
        return false;
    setFSType("vfat");
    return mountDevice();
}

bool KRUnixMODiskImpl::mountDevice()
{
    const std::string partition = getPartNativePath();
    const std::string directory = getMountPoint();
    const std::string fsType = getFSType();
    const int state = checkIfAlredyMounted(partition, directory);
    if (state == mounted)
        return true;
    if (state == noMountTable || !createDirectory(directory))
        return false;
    return runMount(fsType, partition, directory);
}

bool KRUnixMODiskImpl::runMount(const std::string& fsType, const std::string& partition, const std::string& directory)
{
    const std::string line = "mount -t " + fsType + " " + partition + " " + directory;
    const std::string issuing = "Issuing Mount command :: " + line;
    LogEventMessage(traceLevel, issuing);
    errno = 0;
    fflush(nullptr);
    Command command(line);
    if (!command.started()) {
        LogEventMessage(backendLevel, "Error popen : " + line);
        Err_Handler(static_cast<unsigned int>(errno));
        return true; // the error state alone tells of it: hosts depend on this answer
    }
    const std::string output = command.readAll();
    if (!output.empty()) {
        LogEventMessage(backendLevel, "Failed to mount [" + output + "]");
        Err_Handler(EINVAL);
        return false;
    }
    command.close();
    if (checkIfAlredyMounted(partition, directory) == mounted)
        return true;
    LogEventMessage(backendLevel, issuing); // the failed command is told by its line once more
    Err_Handler(EINVAL);
    return false;
}

int KRUnixMODiskImpl::checkIfAlredyMounted(std::string device, std::string mountPoint)
{
    MountTable table;
    if (!table.opened()) {
        LogEventMessage(backendLevel, "setmntent could not open /proc/mounts");
        Err_Handler(static_cast<unsigned int>(errno));
        return noMountTable;
    }
    while (const mntent* entry = table.next()) {
        if (device == entry->mnt_fsname && mountPoint == entry->mnt_dir) {
            LogEventMessage(traceLevel, "Device " + device + " already mounted at " + mountPoint);
            return mounted;
        }
    }
    LogEventMessage(traceLevel, "Finished reading - No more entries in /proc/mounts");
    LogEventMessage(traceLevel, "Device " + device + " Not mounted. Goint to mount it");
    return notMounted;
}

bool KRUnixMODiskImpl::DoUnMount()
{
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::DoUnMount().");
    std::string directory;
    if (!findMountDirectory(directory) || !findPartition())
        return false;
    if (checkIfAlredyMounted(getPartNativePath(), directory) != mounted)
        return false;

    const std::string line = "umount " + directory;
    LogEventMessage(traceLevel, "Issuing unmount command :: " + line);
    Command command(line);
    if (!command.started()) {
        LogEventMessage(backendLevel, "Error popen :: " + line);
        Err_Handler(static_cast<unsigned int>(errno));
        return true; // as mounting does
    }
    const std::string output = command.readAll();
    if (output.empty())
        return true;
    LogEventMessage(backendLevel, "Failed to unmount [" + output + "]"); // and no code, unlike mount
    return false;
}

int KRUnixMODiskImpl::unmountDevicesByDiskName(std::string diskName)
{
    MountTable table;
    if (!table.opened()) {
        logToHost(backendLevel, noDevice, {"setmntent could not open /etc/mtab"});
        return -1;
    }
    while (const mntent* entry = table.next()) {
        const std::string device = entry->mnt_fsname;
        const std::string directory = entry->mnt_dir;
        const std::size_t slash = diskName.rfind('/');
        if (slash == std::string::npos) {
            logToHost(backendLevel, noDevice, {"Invalid disk name ", diskName, ". No unmount will be attempted."});
            return -1;
        }
        // Plain prefixes: partitions of /dev/sdba count as /dev/sdb's, here as in the inventory.
        if (startsWith(device, diskName) && startsWith(directory, diskName.substr(slash)) &&
            isOurs(directory, diskName))
            unmountStale(device);
    }
    logToHost(traceLevel, noDevice, {"Finished reading - No more entries in /etc/mtab"});
    return 0;
}
