#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "unix/DiskInventory.h"

/// Internal: the listings of fdisk 2.22 and later, which have no geometry line.
///
/// A disk is recognised by its own Disk line, which ends in a count of sectors ("Disk /dev/sdb: 64 MiB, 67108864
/// bytes, 131072 sectors"); the columns of its table by the words of their heading. Positions and versions say
/// nothing. What is not known is passed over.
class NewerFdiskListing {
public:
    /// Records are appended to the two lists.
    NewerFdiskListing(std::vector<DiskInfo>& disks, std::vector<PartInfo>& partitions);

    /// Reads the next line of the listing, which is not empty.
    /// @return false when it is none of a newer listing: it neither begins a disk nor follows one.
    bool readLine(std::string_view line);

private:
    /// A row of a table, by its columns.
    struct Row {
        std::string_view device; ///< or the number alone, in a table without names
        std::string_view boot;
        std::string_view start;
        std::string_view end;
        std::string_view id;
        std::string_view type;
        std::string_view other;
    };
    using Column = std::string_view Row::*;

    static Column columnNamed(std::string_view name);
    Row readRow(std::string_view line) const;
    void beginDisk(std::string_view line);
    void readDetail(std::string_view line);
    bool readGeometry(std::string_view line);
    void readUnits(std::string_view line);
    bool readHeading(std::string_view line);
    void readPartition(std::string_view line);
    std::string partitionName(std::string_view deviceOrNumber) const;

    std::vector<DiskInfo>& _disks;
    std::vector<PartInfo>& _partitions;

    // The disk that is being read.
    bool _inDisk = false;   // a newer disk's lines are being read
    bool _isListed = false; // it is in the inventory
    bool _isGpt = false;
    unsigned long long _diskBytes = 0;
    unsigned long long _unitBytes = 0;
    bool _inTable = false; // its heading was read
    std::string _heading;  // the last one, of which the columns are
    std::vector<Column> _columns;
};
