#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "unix/DiskInventory.h"

/// Internal: reads what "parted DISK print" printed, in its classic form (numbers at the line's start, sizes in
/// megabytes), and appends the disk's partitions. Only a disk that is in the inventory gets any.
///
/// A line a partition goes to standard output, which is how this tool's listings have always been traced.
void readPartedListing(std::string_view text, const std::string& disk, const std::vector<DiskInfo>& disks,
                       std::vector<PartInfo>& partitions);
