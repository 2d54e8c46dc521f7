#pragma once

#include <string>

namespace lab {

/// The kind of device that a drive says it is.
enum class DriveType {
    disk,
    magnetoOptical
};

/// How the medium is divided; none: a medium as it comes from the factory.
enum class Label {
    none,
    dos,
    gpt
};

/// What the partitions are formatted with; without a label, the whole medium.
enum class FileSystem {
    none,
    vfat,
    ext4
};

/// An emulated removable drive and the medium in it.
struct DriveDescription {
    DriveType type = DriveType::disk;
    Label label = Label::dos;
    FileSystem fileSystem = FileSystem::vfat;
    int partitions = 1;   ///< of equal size, primary; without meaning when there is no label
    int logicalUnits = 1; ///< each has a medium of its own, of the same description
    int megabytes = 32;
    int sectorSize = 512;
    bool isEmpty = false;            ///< there is no medium in it
    std::string driveSettings = {};  ///< what the drive itself takes, ",key=value" for each
    std::string mediumSettings = {}; ///< what the medium takes, likewise
};

/// The drive that a text "key=value,key=value" describes; "key" alone is "key=yes". What it does not name is as above.
/// @throws std::invalid_argument telling which part it does not know
DriveDescription parseDrive(const std::string& text);

/// The keys and their values, for those who write such a text.
extern const char* const driveKeysHelp;

} // namespace lab
