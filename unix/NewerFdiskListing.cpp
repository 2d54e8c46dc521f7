#include "unix/NewerFdiskListing.h"

#include <algorithm>
#include <utility>

#include "unix/ListingText.h"
#include "unix/PartitionName.h"

namespace {

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isDiskLine(std::string_view line)
{
    return startsWith(line, "Disk /");
}

bool isNumber(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

/// "Disk /dev/sdb: 64 MiB, 67108864 bytes, 131072 sectors"; classic Disk lines end behind the bytes.
bool isNewerDiskLine(std::string_view line)
{
    constexpr std::string_view before = "bytes, ";
    constexpr std::string_view after = " sectors";
    if (!isDiskLine(line) || !endsWith(line, after))
        return false;
    line.remove_suffix(after.size());
    const std::size_t number = line.rfind(' ') + 1; // there is one behind "Disk"
    return isNumber(line.substr(number)) && endsWith(line.substr(0, number), before);
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
    else if (_isListed)
        readDetail(line);
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
    _inTable = false;
    if (!_isListed)
        return;
    DiskInfo& disk = _disks.emplace_back();
    disk.diskName = name;
    disk.diskSize = std::to_string(_diskBytes);
    disk.heads = disk.sectors = disk.cylinders = "0";
}

void NewerFdiskListing::readDetail(std::string_view line)
{
    if (startsWith(line, "Disklabel type:") || startsWith(line, "Disk label type:"))
        _isGpt = endsWith(line, ": gpt");
    else if (startsWith(line, "Units"))
        readUnits(line);
    else if (!readGeometry(line) && !readHeading(line) && _inTable)
        readPartition(line);
}

/// What fdisk prints where it is asked for cylinders: "Geometry: 255 heads, 63 sectors/track, 81 cylinders", the word
/// in front left out by some versions. Names on the medium can hold " heads, ", too, and begin no line so.
bool NewerFdiskListing::readGeometry(std::string_view line)
{
    Words words(line);
    std::string_view heads = words.next();
    if (heads == "Geometry:")
        heads = words.next();
    if (!isNumber(heads) || words.next() != "heads,")
        return false;
    DiskInfo& disk = _disks.back();
    disk.heads = heads;
    disk.sectors = words.next();
    words.next(); // "sectors/track,"
    disk.cylinders = words.next();
    return true;
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
    if (line == _heading) // most disks repeat it
        return _inTable = true;
    Words words(line);
    std::string_view word = words.next();
    if (word != "Device" && word != "#")
        return false;
    _columns.clear();
    for (; !word.empty(); word = words.next())
        _columns.push_back(columnNamed(word));
    _heading = line;
    return _inTable = true;
}

NewerFdiskListing::Column NewerFdiskListing::columnNamed(std::string_view name)
{
    static constexpr std::pair<std::string_view, Column> known[] = {
        {"Device", &Row::device}, {"#", &Row::device}, {"Boot", &Row::boot}, {"Start", &Row::start},
        {"End", &Row::end},       {"Id", &Row::id},    {"Type", &Row::type}, {"System", &Row::type},
    };
    for (const auto& [knownName, column] : known) {
        if (name == knownName)
            return column;
    }
    return &Row::other;
}

NewerFdiskListing::Row NewerFdiskListing::readRow(std::string_view line) const
{
    Row row;
    Words words(line);
    for (const Column column : _columns) {
        words.skipSpace();
        if (column == &Row::type) { // has blanks of its own and ends the row
            row.type = withoutTrailingSpace(words.rest());
            return row;
        }
        // The boot mark is blank, more often than not.
        if (column != &Row::boot || words.rest().empty() || !isDigit(words.rest().front()))
            row.*column = words.token();
    }
    return row;
}

void NewerFdiskListing::readPartition(std::string_view line)
{
    const Row row = readRow(line);
    if (!isNumber(row.start) || !isNumber(row.end) || row.type == "Whole disk")
        return;
    const unsigned long long start = toNumber(row.start);
    const unsigned long long end = toNumber(row.end);
    // A boot sector that is read as a table gives rows that begin beyond the medium: they are no partitions. One that
    // ends beyond it is: systems that round to cylinders make such, and the kernel cuts them.
    if (end < start || start >= _diskBytes / _unitBytes)
        return;
    std::string name = partitionName(row.device);
    if (name.empty() || !isPlainName(name))
        return;
    PartInfo& partition = _partitions.emplace_back();
    partition.partName = std::move(name);
    partition.partSize = std::to_string((end - start + 1) * _unitBytes / bytesInSector);
    partition.partType = _isGpt ? "EFI GPT" : row.type;
    partition.partId = _isGpt ? "ee" : row.id;
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
