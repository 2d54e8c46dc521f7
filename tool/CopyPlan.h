#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tool/Folder.h"
#include "tool/Problems.h"

namespace tool {

/// A file or folder to copy.
struct CopyEntry {
    enum class Place : std::uint8_t {
        fresh,    ///< its name is free at the destination
        replaced, ///< a file takes the place of a file
        merged,   ///< a folder is there already, and gets what this one holds
        skipped,  ///< it is there already, or can't be read
    };

    std::uint32_t parent = 0; ///< the folder that it lies in; of the first entry: itself
    bool folder = false;
    Place place = Place::fresh;
    std::string name;
    std::uint64_t bytes = 0;
    timespec modified{};
    dev_t device = 0;
    ino_t number = 0;
    std::uint64_t sum = 0; ///< of the data, once they were copied
};

/// One SOURCE: a file, or a folder with all that is in it, each folder before what it holds.
struct CopySource {
    std::shared_ptr<const Folder> folder; ///< that it lies in
    std::string path;                     ///< under which it is told of
    std::deque<CopyEntry> entries;

    const std::string& name() const { return entries.front().name; }

    /// Under which an entry is told of.
    std::string pathOf(std::size_t index) const;

    /// Of what is copied.
    std::uint64_t bytes() const;
    std::size_t files() const;
    std::size_t files(CopyEntry::Place place) const;
};

std::uint64_t bytesOf(const std::vector<CopySource>& sources);

/// The folders that lead to the entries of a SOURCE, one descriptor a level, each opened in the one above it.
class EntryFolders {
public:
    /// @param base that holds the first entry; it lives longer.
    EntryFolders(const CopySource& source, const Folder& base) : _source(source), _base(base) {}

    /// The folder that holds an entry. Cheap when entries are asked for in their order.
    const Folder& of(std::size_t index);

private:
    struct Level {
        std::size_t index;
        Folder folder;
    };

    const CopySource& _source;
    const Folder& _base;
    std::vector<Level> _levels;
};

/// @return why FAT can't hold a name; empty if it can. Which characters beyond ASCII it takes is up to the character
///         set with which the medium is mounted.
std::string fatObjectionTo(const std::string& name);

/// What needs no look at the medium: names that FAT can't hold, files that are too large, and SOURCEs whose names are
/// one when case is ignored.
void findFatObstacles(const std::vector<CopySource>& sources, Problems& obstacles);

/// The most bytes that SOURCEs take of a file system that gives room in blocks of that size.
std::uint64_t bytesOnMedium(const std::vector<CopySource>& sources, std::uint64_t blockBytes);

} // namespace tool
