#pragma once

#include <memory>
#include <string>
#include <vector>

#include "drive/KRHardDiskDrive.h"
#include "lab/drives/EmulatedDrives.h"

/// An emulated drive of the lab and the library's drive on it. The library keeps the device open for good, so that the
/// drive can't be taken away: there is one for all benchmarks.
class LabDrive {
public:
    static LabDrive& instance();

    /// @throws std::runtime_error with the code.
    void mount();
    void unmount();

    std::string node() const { return _emulated.genericNode; }
    std::string partition() const { return _emulated.partitionNode(1); }
    std::string directory() const { return _drive->getMountPath(); }

private:
    LabDrive();

    lab::EmulatedDrives _drives;
    lab::EmulatedDrive _emulated;
    std::unique_ptr<KRHardDiskDrive> _drive;
};

/// Runs a program of the system and waits for it. @throws std::runtime_error when it fails.
void run(const std::vector<std::string>& command);
