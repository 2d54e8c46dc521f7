#pragma once

#include <memory>
#include <string>

#include "tool/Folder.h"

namespace tool {

/// A path on the medium, below its root: without "." and "..", empty for the root itself.
std::string pathOnMedium(const std::string& path);

/// A name in a folder of the medium.
struct MediumPlace {
    std::shared_ptr<const Folder> folder;
    std::string name;
};

/// Where a path leads. @throws Failure: a folder on the way can't be opened.
MediumPlace placeOf(const std::string& path, const Folder& root);

} // namespace tool
