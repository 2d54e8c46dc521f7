#pragma once

#include <string>

#include "tool/Folder.h"

namespace tool {

/// Moves a new file or folder to a name that is free.
/// @throws Failure: it is taken. Where a file system can neither look nor link in one step with it, somebody who takes
///         the name in just that moment loses his file.
void place(const Folder& from, const Folder& target, const std::string& name);

/// Puts a new file in the place of a file, which comes to lie where the new one was, so that even a drive that loses
/// power has a whole one. Where a file system can't do that, the other one is gone.
/// @throws Failure also where a folder has the name.
void replaceFile(const Folder& from, const Folder& target, const std::string& name);

} // namespace tool
