#include "unix/FdiskListing.h"

#include <cstdlib>
#include <utility>

#include "unix/PartitionName.h"

namespace {

/// Disks of the device mapper are never in the inventory, and these lines tell nothing of a disk.
bool isIgnored(std::string_view line)
{
    return contains(line, "Disk identifier:") || contains(line, "Disk /dev/dm-") ||
           contains(line, "Disk /dev/mapper") || contains(line, "doesn't contain a valid partition table");
}

/// The size is that of the geometry, whatever the Disk line says; it wraps around as the record's readers know it.
std::string geometrySize(const DiskInfo& disk)
{
    const unsigned long long sectors = toNumber(disk.heads) * toNumber(disk.cylinders) * toNumber(disk.sectors);
    return std::to_string(static_cast<long long>(sectors * bytesInSector));
}

/// Takes the disk's name; the cursor stands behind its colon then.
std::string_view takeDiskName(Words& words)
{
    words.token(); // "Disk"
    std::string_view name = words.next();
    if (!name.empty() && name.back() == ':')
        name.remove_suffix(1);
    else if (!name.empty())
        words.skipPast(':');
    return name;
}

/// Blocks of 1024 bytes as sectors. A block count with a "+" has half a block more, which is not counted.
std::string toSectors(std::string_view blocks)
{
    return std::to_string(leadingNumber<unsigned long long>(blocks, std::strtoull) * 2);
}

std::size_t countDisks(std::string_view text)
{
    constexpr std::string_view start = "\nDisk /";
    std::size_t disks = 0;
    for (std::size_t at = text.find(start); at != std::string_view::npos; at = text.find(start, at + start.size()))
        ++disks;
    return disks;
}

} // namespace

FdiskListing::FdiskListing(std::vector<DiskInfo>& disks, std::vector<PartInfo>& partitions, ListGptDisk listGptDisk)
    : _disks(disks), _partitions(partitions), _listGptDisk(std::move(listGptDisk)), _newer(disks, partitions)
{
}

bool FdiskListing::read(std::string_view text)
{
    const std::size_t disks = countDisks(text); // of many, moving the records would cost more than counting does
    _disks.reserve(_disks.size() + disks);
    _partitions.reserve(_partitions.size() + disks);
    Lines lines(text);
    std::string_view line;
    while (lines.next(line)) {
        if (!line.empty() && !_newer.readLine(line) && !readLine(line, lines))
            return false;
    }
    return true;
}

bool FdiskListing::readLine(std::string_view line, Lines& lines)
{
    const bool isDisk = startsWith(line, "Disk");
    if ((!isDisk && !startsWith(line, "/dev/")) || isIgnored(line))
        return true;
    if (!isDisk)
        return readPartition(line);
    readDisk(line, lines);
    return true;
}

void FdiskListing::readDisk(std::string_view line, Lines& lines)
{
    Words words(line);
    DiskInfo& disk = _disks.emplace_back();
    disk.diskName = takeDiskName(words);
    if (contains(words.rest(), "bytes")) { // then the next line, whatever it is, has the geometry
        std::string_view geometry;
        lines.next(geometry);
        words = Words(geometry);
    }
    disk.heads = words.next();
    words.next();
    disk.sectors = words.next();
    words.next();
    disk.cylinders = words.next();
    disk.diskSize = geometrySize(disk);
}

bool FdiskListing::readPartition(std::string_view line)
{
    Words words(line);
    const std::string_view device = words.token();
    const std::string_view bootMarkOrStart = words.next();
    if (bootMarkOrStart == "*" || bootMarkOrStart == "u")
        words.next(); // the start
    words.next();     // the end
    const std::string_view blocks = words.next();
    const std::string_view id = words.next();
    words.skipSpace();
    const std::string_view system = words.rest();

    if (system == "Whole disk" || !isPlainName(device))
        return true;
    if (system == "EFI GPT") // one digit is taken for the partition's number: "/dev/sdc10" is not shown so
        return _listGptDisk(std::string(device.substr(0, device.size() - 1)));
    _partitions.push_back({std::string(device), toSectors(blocks), std::string(system), std::string(id)});
    return true;
}
