// Resolution: from a drive's device path to the directory on which its medium's first partition is mounted.

#include <unistd.h>

#include "backend/HostLog.h"
#include "platform/KrException.h"
#include "unix/DriveOpening.h"
#include "unix/FirstPartition.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

void log(int level, const std::string& text)
{
    logToHost(level, noDevice, {text});
}

/// Opens the drive to learn its block node. The host waits out the time that a drive may take to come up.
bool findDisk(const std::string& devicePath, std::string& diskName)
{
    try {
        const DriveOpening opening(devicePath);
        if (!opening.report(traceLevel, traceLevel, log)) {
            sleep(DriveOpening::waitSeconds);
            return false;
        }
        diskName = opening.nativePath();
        return true;
    } catch (const KrException& exception) {
        logToHost(backendLevel, noDevice, {exception.formatError()});
        KRUnixMODiskImpl::bExceptionCaught = true;
        return false;
    }
}

/// "/dev/sdb1" gives "/sdb1/KRMT".
bool composeMountDirectory(const std::string& partName, std::string& result)
{
    const std::size_t slash = partName.rfind('/');
    if (slash == std::string::npos) { // excluded by the inventory
        logToHost(errorLevel, noDevice, {"Invalid device path :: ", partName});
        return false;
    }
    const std::string directory = partName.substr(slash) + "/" + mountLeaf;
    logToHost(errorLevel, noDevice, {directory});
    result = directory;
    return true;
}

} // namespace

bool findFirstPartition(const std::string& diskName, int failureLevel, std::string& partName)
{
    const std::vector<PartInfo> partitions = KRUnixMODiskImpl::getPartDataByDiskName(diskName);
    if (partitions.empty()) {
        logToHost(failureLevel, noDevice, {"No partition information found for device :: ", diskName});
        return false;
    }
    partName = partitions.front().partName;
    logToHost(errorLevel, noDevice, {"Partition Device file name :: ", partName});
    return true;
}

bool KRUnixMODiskImpl::GetLogicaldriveLetter(std::string devicePath, std::string& result)
{
    logToHost(traceLevel, noDevice, {"In call KRUnixMODiskImpl::GetLogicaldriveLetter()."});
    if (devicePath.empty()) {
        logToHost(backendLevel, noDevice, {"Physical Address of the drive is empty"});
        return false;
    }
    if (!scan()) {
        logToHost(backendLevel, noDevice, {"Failed to get the partition device file name."});
        return false;
    }
    std::string diskName;
    if (!findDisk(devicePath, diskName))
        return false;
    std::string partName;
    if (!findFirstPartition(diskName, backendLevel, partName)) {
        unmountDevicesByDiskName(diskName);
        return false;
    }
    return composeMountDirectory(partName, result);
}

std::string KRUnixMODiskImpl::GetLogicaldriveLetter()
{
    if (_logicalDrive.empty())
        GetLogicaldriveLetter(_devicePath, _logicalDrive);
    return _logicalDrive;
}
