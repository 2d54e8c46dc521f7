#pragma once

#include <map>
#include <string>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// Makes partitions and file systems on a medium as described; `blockNode` is the drive's node.
void prepareMedium(const std::string& blockNode, const DriveDescription& description);

/// Makes a file system on a partition, or on a whole medium.
void formatNode(const std::string& node, FileSystem fileSystem);

/// Leaves a medium without a partition table, as it comes from the factory.
void wipeMedium(const std::string& blockNode);

/// What is on a FAT partition that is not in use: files and folders by their names below its root, and what files hold.
std::map<std::string, std::string> contentOf(const std::string& partitionNode);

} // namespace lab
