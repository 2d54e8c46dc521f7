#pragma once

#include <string>

namespace lab {

/// Mounts what the kernel shows of itself (/proc, /sys); needed before modules can be loaded.
void mountKernelFileSystems();

/// Makes the root folder one in which everything can be changed and nothing is changed in truth: an overlay in
/// memory above the machine's files, with the mounts that a running system has. The machine's own root is then out
/// of reach, for this process and for the kernel's helpers.
void enterOverlay();

/// Makes a folder of the machine writable, under its own name.
void mountResults(const std::string& folder);

} // namespace lab
