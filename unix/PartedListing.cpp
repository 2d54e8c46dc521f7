#include "unix/PartedListing.h"

#include <algorithm>
#include <cstdio>

#include "unix/ListingText.h"
#include "unix/PartitionName.h"

namespace {

/// Bytes in a sector by the disk's geometry; 0 without one.
unsigned long long blockSize(const DiskInfo& disk)
{
    const unsigned long long sectors = toNumber(disk.heads) * toNumber(disk.cylinders) * toNumber(disk.sectors);
    return sectors == 0 ? 0 : toNumber(disk.diskSize) / sectors;
}

} // namespace

void readPartedListing(std::string_view text, const std::string& disk, const std::vector<DiskInfo>& disks,
                       std::vector<PartInfo>& partitions)
{
    const auto record = std::find_if(disks.begin(), disks.end(),
                                     [&disk](const DiskInfo& candidate) { return candidate.diskName == disk; });
    if (record == disks.end())
        return;
    const unsigned long long bytesInBlock = blockSize(*record);
    Lines lines(text);
    std::string_view line;
    while (lines.next(line)) {
        Words words(line);
        const std::string_view number = words.token();
        if (number.empty() || !isDigit(number.front()) || !isPlainName(number))
            continue;
        const unsigned long long start = toNumber(words.next());
        const unsigned long long end = toNumber(words.next());
        unsigned long long blocks = (end - start) << 20; // megabytes
        if (bytesInBlock != 0)
            blocks /= bytesInBlock;
        std::printf(" start = %llu, end = %llu, block_size = %llu, part blocks = %llu", start, end, bytesInBlock,
                    blocks);
        partitions.push_back({disk + std::string(number), std::to_string(blocks), "EFI GPT", "ee"});
    }
}
