#pragma once

#include <map>
#include <string>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// Makes a medium as described, with partitions and file systems, and returns how drives are told of it:
/// "file=...,sector-size=...". The file may be changed while the medium is in no drive. Media of one description are
/// copies of the first.
std::string makeMedium(const DriveDescription& description);

/// Forgets all media that are in no drive.
void forgetMedia();

/// Makes a file system on a partition, or on a whole medium.
void formatNode(const std::string& node, FileSystem fileSystem);

/// What is on a FAT partition that is not in use: files and folders by their names below its root, and what files hold.
std::map<std::string, std::string> contentOf(const std::string& partitionNode);

} // namespace lab
