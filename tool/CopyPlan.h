#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// A file or folder to copy.
struct CopyEntry {
    std::string path; ///< below the destination, its SOURCE's own name included
    bool folder = false;
    std::uint64_t bytes = 0;
    std::uint64_t sum = 0; ///< of the data, once they were copied

    std::string name() const { return path.substr(path.rfind('/') + 1); }
};

/// One SOURCE: a file, or a folder with all that is in it, each folder before what it holds.
struct CopySource {
    std::string path; ///< where it lies
    std::string name;
    std::vector<CopyEntry> entries;

    /// Where an entry lies.
    std::string pathOf(const CopyEntry& entry) const { return path + entry.path.substr(name.size()); }
    std::uint64_t bytes() const;
    std::size_t files() const;
};

/// Walks SOURCEs.
/// @throws Failure: one is not there, or holds a symbolic link or anything else that is neither file nor folder.
std::vector<CopySource> planSources(const std::vector<std::string>& paths);

/// @throws Failure when FAT can't hold a name. Which characters beyond ASCII it takes is up to the character set with
///         which the medium is mounted.
void requireFatName(const std::string& path);

/// What needs no look at the medium: names that FAT can't hold, files that are too large, and names that are one when
/// case is ignored.
void requireFat(const std::vector<CopySource>& sources);

/// The most bytes that SOURCEs take of a file system that gives room in blocks of that size.
std::uint64_t bytesOnMedium(const std::vector<CopySource>& sources, std::uint64_t blockBytes);

} // namespace tool
