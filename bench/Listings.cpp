#include "bench/Listings.h"

namespace {

/// sda to sdz, sdaa and so on.
std::string diskName(int number)
{
    constexpr int letters = 26;
    const std::string last(1, static_cast<char>('a' + number % letters));
    return number < letters ? "/dev/sd" + last : diskName(number / letters - 1) + last;
}

std::string classicDisk(const std::string& name)
{
    return "\nDisk " + name +
           ": 2289 MB, 2289892864 bytes\n71 heads, 62 sectors/track, 1015 cylinders\n"
           "Units = cylinders of 4402 * 512 = 2253824 bytes\nSector size (logical/physical): 512 bytes / 512 bytes\n"
           "I/O size (minimum/optimal): 512 bytes / 512 bytes\nDisk identifier: 0x6b8b4567\n\n"
           "   Device Boot      Start         End      Blocks   Id  System\n" +
           name + "1               1        1015     2234984    c  W95 FAT32 (LBA)\n";
}

std::string newerDisk(const std::string& name)
{
    return "\n\nDisk " + name +
           ": 2.13 GiB, 2289892864 bytes, 4472447 sectors\nUnits: sectors of 1 * 512 = 512 bytes\n"
           "Sector size (logical/physical): 512 bytes / 512 bytes\n"
           "I/O size (minimum/optimal): 512 bytes / 512 bytes\nDisklabel type: dos\nDisk identifier: 0x6b8b4567\n\n"
           "Device     Boot Start     End Sectors  Size Id Type\n" +
           name + "1        2048 4472446 4470399  2.1G  c W95 FAT32 (LBA)\n";
}

} // namespace

std::string makeListing(ListingKind kind, int disks)
{
    std::string text;
    for (int i = 0; i < disks; ++i)
        text += kind == ListingKind::classic ? classicDisk(diskName(i)) : newerDisk(diskName(i));
    return text;
}
