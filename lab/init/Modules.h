#pragma once

namespace lab {

/// Loads the overlay file system, which is needed before any path can be arranged for modprobe.
void loadOverlayModule();

/// Puts the modules of this kernel where modprobe looks for them.
void showModules();

/// Loads what SCSI disks and their file systems need; throws std::runtime_error.
void loadDiskModules();

} // namespace lab
