#pragma once

#include <map>
#include <string>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// Makes a medium as described, with partitions and file systems, and returns how drives are told of it:
/// "file=...,sector-size=...". The file may be changed while the medium is in no drive. Media of one description are
/// copies of the first.
std::string makeMedium(const DriveDescription& description);

/// A copy of a medium that is in no drive, to be changed by itself.
std::string copyMedium(const std::string& medium);

/// Deletes one medium, or all that were made; they must be in no drive.
void forgetMedium(const std::string& medium);
void forgetMedia();

/// Makes a file system on a partition, or on a whole medium.
void formatNode(const std::string& node, FileSystem fileSystem);

/// What is on a FAT partition that is not in use: files and folders by their names below its root, and what files hold.
std::map<std::string, std::string> contentOf(const std::string& partitionNode);

} // namespace lab
