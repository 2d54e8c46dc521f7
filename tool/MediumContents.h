#pragma once

#include <optional>
#include <string>

namespace tool {

/// Where the first partition of a medium holds no FAT, what is on the medium instead, as far as it is known: a file
/// system without partitions, FAT on another partition, exFAT, NTFS. Empty where the first partition holds FAT, and
/// where nothing is known.
std::string unusableContents(const std::string& blockNode);

/// The name of the file system on a partition or disk, by its first sector; empty for unknown ones.
std::string fileSystemOn(const std::string& node);

/// Whether a FAT file system that nobody uses has the mark of one that was not unmounted in order. A mounted one has it
/// in any case, so nothing is known of those in use.
std::optional<bool> isMarkedDirty(const std::string& partition);

constexpr const char* dirtySign = "it was not unmounted in order";

/// The same advice, whoever noticed that a file system may be damaged. @param sign what was noticed.
std::string damagedText(const std::string& partition, const std::string& sign);

} // namespace tool
