#include "unix/NewerFdiskListing.h"

#include <algorithm>
#include <utility>

#include "unix/ListingText.h"
#include "unix/PartitionName.h"

namespace {

constexpr unsigned long long bytesInSector = 512;

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isDiskLine(std::string_view line)
{
    return startsWith(line, "Disk /");
}

/// "Disk /dev/sdb: 64 MiB, 67108864 bytes, 131072 sectors"; classic Disk lines end behind the bytes.
bool isNewerDiskLine(std::string_view line)
{
    return isDiskLine(line) && contains(line, " bytes, ") && endsWith(line, " sectors");
}

bool isDeviceMapper(std::string_view disk)
{
    return startsWith(disk, "/dev/dm-") || startsWith(disk, "/dev/mapper");
}

/// The number before the last " bytes": 512 in "Units: sectors of 1 * 512 = 512 bytes".
unsigned long long bytesIn(std::string_view line)
{
    const std::size_t end = line.rfind(" bytes");
    if (end == std::string_view::npos)
        return 0;
    const std::size_t blank = line.rfind(' ', end - 1);
    return toNumber(line.substr(blank + 1, end - blank - 1));
}

std::string_view withoutTrailingSpace(std::string_view text)
{
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

bool isNumber(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

/// What fdisk prints where it is asked for cylinders: "Geometry: 255 heads, 63 sectors/track, 81 cylinders", the word
/// in front left out by some versions. Names on the medium can hold " heads, ", too, and begin no line so.
bool isGeometry(std::string_view line)
{
    Words words(line);
    std::string_view word = words.next();
    if (word == "Geometry:")
        word = words.next();
    return isNumber(word) && words.next() == "heads,";
}

/// A row of a table, by its columns.
struct Row {
    std::string_view device; // or the number alone, in a table without names
    std::string_view start;
    std::string_view end;
    std::string_view id;
    std::string_view type;
};

Row readRow(std::string_view line, const std::vector<std::string_view>& columns)
{
    Row row;
    Words words(line);
    for (const std::string_view column : columns) {
        words.skipSpace();
        if (column == "Boot") { // blank, more often than not
            if (!words.rest().empty() && !isDigit(words.rest().front()))
                words.token();
        } else if (column == "Type" || column == "System") { // has blanks of its own and ends the row
            row.type = withoutTrailingSpace(words.rest());
            return row;
        } else if (column == "Device" || column == "#") {
            row.device = words.token();
        } else if (column == "Start") {
            row.start = words.token();
        } else if (column == "End") {
            row.end = words.token();
        } else if (column == "Id") {
            row.id = words.token();
        } else {
            words.token();
        }
    }
    return row;
}

} // namespace

NewerFdiskListing::NewerFdiskListing(std::vector<DiskInfo>& disks, std::vector<PartInfo>& partitions)
    : _disks(disks), _partitions(partitions)
{
}

bool NewerFdiskListing::readLine(std::string_view line)
{
    if (isDiskLine(line))
        _inDisk = isNewerDiskLine(line);
    if (!_inDisk)
        return false;
    if (isDiskLine(line))
        beginDisk(line);
    else if (startsWith(line, "Disklabel type:") || startsWith(line, "Disk label type:"))
        _isGpt = endsWith(line, ": gpt");
    else if (startsWith(line, "Units"))
        readUnits(line);
    else if (isGeometry(line))
        readGeometry(line);
    else if (!readHeading(line) && _isListed)
        readPartition(line);
    return true;
}

void NewerFdiskListing::beginDisk(std::string_view line)
{
    Words words(line);
    words.token(); // "Disk"
    std::string_view name = words.next();
    if (endsWith(name, ":"))
        name.remove_suffix(1);
    _isListed = !isDeviceMapper(name);
    _isGpt = false;
    _diskBytes = bytesIn(line);
    _unitBytes = bytesInSector;
    _columns.clear();
    if (_isListed)
        _disks.push_back({std::string(name), std::to_string(_diskBytes), "0", "0", "0", "", ""});
}

void NewerFdiskListing::readGeometry(std::string_view line)
{
    if (!_isListed)
        return;
    Words words(line);
    if (startsWith(line, "Geometry:"))
        words.token();
    const std::string_view heads = words.next();
    words.next();
    const std::string_view sectors = words.next();
    words.next();
    const std::string_view cylinders = words.next();
    DiskInfo& disk = _disks.back();
    disk.heads = heads;
    disk.sectors = sectors;
    disk.cylinders = cylinders;
}

void NewerFdiskListing::readUnits(std::string_view line)
{
    const unsigned long long bytes = bytesIn(line);
    if (bytes != 0)
        _unitBytes = bytes;
}

/// "Device Boot Start End Sectors Size Id Type", or "#" in place of Device for a table without names.
bool NewerFdiskListing::readHeading(std::string_view line)
{
    Words words(line);
    std::string_view word = words.next();
    if (word != "Device" && word != "#")
        return false;
    _columns.clear();
    for (; !word.empty(); word = words.next())
        _columns.push_back(word);
    return true;
}

void NewerFdiskListing::readPartition(std::string_view line)
{
    const Row row = readRow(line, _columns);
    if (!isNumber(row.start) || !isNumber(row.end) || row.type == "Whole disk")
        return;
    const unsigned long long start = toNumber(row.start);
    const unsigned long long end = toNumber(row.end);
    // A boot sector that is read as a table gives rows far beyond the medium: they are no partitions.
    if (end < start || end >= _diskBytes / _unitBytes)
        return;
    std::string name = partitionName(row.device);
    if (name.empty() || !isDeviceName(name))
        return;
    std::string sectors = std::to_string((end - start + 1) * _unitBytes / bytesInSector);
    if (_isGpt)
        _partitions.push_back({std::move(name), std::move(sectors), "EFI GPT", "ee"});
    else
        _partitions.push_back({std::move(name), std::move(sectors), std::string(row.type), std::string(row.id)});
}

/// A table without device names has numbers, from which the kernel makes names: sdb1, nvme0n1p1.
std::string NewerFdiskListing::partitionName(std::string_view deviceOrNumber) const
{
    if (startsWith(deviceOrNumber, "/dev/"))
        return std::string(deviceOrNumber);
    if (!isNumber(deviceOrNumber))
        return {};
    const std::string& disk = _disks.back().diskName;
    const bool endsInDigit = !disk.empty() && isDigit(disk.back());
    return disk + (endsInDigit ? "p" : "") + std::string(deviceOrNumber);
}
