#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "unix/DiskInventory.h"
#include "unix/ListingText.h"
#include "unix/NewerFdiskListing.h"

/// Internal: what "fdisk -l" printed, read into records in one pass.
///
/// This is the classic listing (fdisk up to 2.21): a Disk line followed by a geometry line, rows in blocks of 1024
/// bytes. A disk whose Disk line is a newer one is read by `NewerFdiskListing`.
class FdiskListing {
public:
    /// Asked to list the partitions of a GPT disk, of which a classic listing shows the protective row alone.
    /// @return false to end the reading.
    using ListGptDisk = std::function<bool(const std::string& disk)>;

    /// Records are appended to the two lists.
    FdiskListing(std::vector<DiskInfo>& disks, std::vector<PartInfo>& partitions, ListGptDisk listGptDisk);

    /// @return false when the reading of a GPT disk failed; what was read so far stays.
    bool read(std::string_view text);

private:
    bool readLine(std::string_view line, Lines& lines);
    void readDisk(std::string_view line, Lines& lines);
    bool readPartition(std::string_view line);

    std::vector<DiskInfo>& _disks;
    std::vector<PartInfo>& _partitions;
    ListGptDisk _listGptDisk;
    NewerFdiskListing _newer;
};
