#include "tool/BootSector.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "tool/Descriptor.h"

namespace tool {

namespace {

bool isPowerOfTwo(std::uint32_t number)
{
    return number != 0 && (number & (number - 1)) == 0;
}

} // namespace

std::optional<BootSector> BootSector::of(const std::string& node, int flags)
{
    const Descriptor descriptor(open(node.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC | flags));
    if (!descriptor.isOpen())
        return std::nullopt;
    BootSector sector;
    const ssize_t count = pread(descriptor.number(), sector._bytes.data(), sector._bytes.size(), 0);
    if (count <= 0)
        return std::nullopt;
    return sector;
}

std::string BootSector::fileSystem() const
{
    for (const char* const name : {"EXFAT", "NTFS"}) {
        if (hasText(3, std::string(name) + std::string(8 - std::strlen(name), ' ')))
            return name[0] == 'E' ? "exFAT" : name;
    }
    if (!isFat())
        return {};
    return isFat32() ? "FAT32" : "FAT12 or FAT16";
}

/// What the kernel asks of it, as well.
bool BootSector::isFat() const
{
    const std::uint32_t sectorBytes = number(11, 2);
    const std::uint32_t reserved = number(14, 2);
    const std::uint32_t tables = number(16, 1);
    const std::uint32_t medium = number(21, 1);
    return isPowerOfTwo(sectorBytes) && sectorBytes >= 512 && sectorBytes <= blockBytes && reserved != 0 &&
           tables != 0 && isPowerOfTwo(number(13, 1)) && (medium >= 0xf8 || medium == 0xf0);
}

std::uint32_t BootSector::volumeId() const
{
    return number(isFat32() ? 0x43 : 0x27, 4);
}

bool BootSector::isDirty() const
{
    return (number(isFat32() ? 0x41 : 0x25, 1) & 1) != 0;
}

bool BootSector::isFat32() const
{
    constexpr std::size_t tableSectors = 22; // of the smaller kinds
    return number(tableSectors, 2) == 0;
}

std::uint32_t BootSector::number(std::size_t offset, std::size_t bytes) const
{
    std::uint32_t value = 0;
    for (std::size_t i = bytes; i > 0; --i)
        value = value << 8 | _bytes[offset + i - 1];
    return value;
}

bool BootSector::hasText(std::size_t offset, const std::string& text) const
{
    return std::memcmp(&_bytes[offset], text.data(), text.size()) == 0;
}

} // namespace tool
