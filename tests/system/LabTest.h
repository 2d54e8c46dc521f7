#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "drive/KRHardDiskDrive.h"
#include "lab/drives/EmulatedDrives.h"

/// A test that runs inside the lab, as root, on drives of its own. Waits of the library return at once and are noted.
struct LabTest : testing::Test {
    LabTest();
    ~LabTest() override;

    /// The drive that the factory makes of a path; null where it makes none.
    static std::unique_ptr<KRHardDiskDrive> open(const std::string& path);

    /// Takes away what the library has mounted, also where it is in use.
    static void unmountAll();

    /// The directory on which a node is mounted; empty where it is not.
    static std::string mountOf(const std::string& node);

    /// Names below the root of the first partition, folders too, in order and with a blank between them.
    static std::string namesOn(const lab::EmulatedDrive& drive);

    /// Starts or stops a drive; in a process of its own, since one that has sent a command keeps the drive open, and
    /// with it the name of its node.
    static void setRunning(const std::string& path, bool isRunning);

    /// Whether the library has said this, without the "Device [...] - " before it, since the last `log.clear()`.
    static bool wasLogged(int level, const std::string& text);

    static std::string lastError(const KRScsiMODiskDrive& drive);

    lab::EmulatedDrives drives;
    bool drivesStay = false; ///< for the next test
    static inline std::vector<std::pair<int, std::string>> log;
    static inline std::vector<unsigned int> waits;  ///< seconds
    static inline std::function<void()> duringWait; ///< happens in the next wait of the library
};
