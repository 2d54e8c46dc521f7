#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tool {

/// The first sector of a partition or disk, as it stands on the medium now: the kernel's cache is passed by.
class BootSector {
public:
    /// @param flags for the node's opening, besides those that it takes anyway.
    /// @return nothing, with `errno`, where the node can't be opened or read.
    static std::optional<BootSector> of(const std::string& node, int flags = 0);

    /// "FAT32", "FAT12 or FAT16", "exFAT" or "NTFS"; empty for anything else.
    std::string fileSystem() const;
    bool isFat() const;

    // For FAT.

    /// Written by whoever made the file system, different for each.
    std::uint32_t volumeId() const;

    /// Set by the kernel while the file system is mounted for writing; a mark that it finds stays for fsck.fat.
    bool isDirty() const;

private:
    /// Some nodes give no less than this, and into memory that begins at a multiple of it.
    static constexpr std::size_t blockBytes = 4096;

    std::uint32_t number(std::size_t offset, std::size_t bytes) const;
    bool hasText(std::size_t offset, const std::string& text) const;
    bool isFat32() const;

    alignas(blockBytes) std::array<unsigned char, blockBytes> _bytes{};
};

} // namespace tool
