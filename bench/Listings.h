#pragma once

#include <string>

/// Kinds of "fdisk -l" listings: with a geometry line and rows in blocks, or with counts of sectors.
enum class ListingKind {
    classic,
    newer
};

/// The listing of a machine with so many disks of one partition, laid out as fdisk 2.17 or 2.38 prints it.
std::string makeListing(ListingKind kind, int disks);
