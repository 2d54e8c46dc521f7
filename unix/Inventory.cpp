// The inventory: the disks and partitions of the machine, as the system's own tools list them.

#include <cerrno>
#include <cstdio>

#include <unistd.h>

#include "unix/Command.h"
#include "unix/FdiskListing.h"
#include "unix/KRUnixMODiskImpl.h"
#include "unix/ListingText.h"
#include "unix/PartedListing.h"

namespace {

/// An operator freezes every scan of the process while this file exists.
void waitWhileHeld()
{
    constexpr unsigned int pollSeconds = 5;
    while (access("/temp/test.sleep", F_OK) == 0)
        sleep(pollSeconds);
}

bool listGptDisk(const std::string& disk)
{
    Command parted("parted " + disk + " print");
    if (!parted.started()) {
        std::printf("popen failed for parted <device_name> print :: %d\n", errno); // printed so, name and all
        return false;
    }
    const std::string text = parted.readAll();
    parted.close();
    readPartedListing(text, disk, KRUnixMODiskImpl::_diskData, KRUnixMODiskImpl::_partData);
    return true;
}

} // namespace

bool KRUnixMODiskImpl::scan()
{
    waitWhileHeld();
    Command fdisk("/sbin/fdisk -l");
    if (!fdisk.started()) {
        std::printf("popen error :: %d\n", errno);
        return false;
    }
    _partData.clear();
    _diskData.clear();
    const std::string text = fdisk.readAll();
    fdisk.close();
    return FdiskListing(_diskData, _partData, listGptDisk).read(text);
}

std::vector<DiskInfo> KRUnixMODiskImpl::getDiskData()
{
    return _diskData;
}

std::vector<PartInfo> KRUnixMODiskImpl::getPartDataByDiskName(const std::string& diskName)
{
    std::vector<PartInfo> found;
    for (const PartInfo& partition : _partData) {
        if (startsWith(partition.partName, diskName))
            found.push_back(partition);
    }
    return found;
}

void KRUnixMODiskImpl::skipSpace(const char*& text)
{
    while (text != nullptr && *text != '\0' && isSpace(*text))
        ++text;
}

std::string KRUnixMODiskImpl::skipToSpace(const char*& text)
{
    const char* const start = text;
    while (text != nullptr && *text != '\0' && !isSpace(*text))
        ++text;
    return std::string(start, text);
}
