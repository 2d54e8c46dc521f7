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
    int logicalUnits = 1; ///< units of one drive show the same medium
};

/// What all drives have in common, because the emulation is told so once, when its module is loaded.
struct EmulationSettings {
    int megabytes = 32;
    int sectorSize = 512;
    int spinUpMilliseconds = 0; ///< how long a new drive answers "becoming ready" to TEST UNIT READY
};

inline bool operator==(const EmulationSettings& left, const EmulationSettings& right)
{
    return left.megabytes == right.megabytes && left.sectorSize == right.sectorSize &&
           left.spinUpMilliseconds == right.spinUpMilliseconds;
}

} // namespace lab
