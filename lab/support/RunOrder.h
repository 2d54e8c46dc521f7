#pragma once

#include <string>
#include <vector>

namespace lab {

/// Exit statuses of the lab's own, beside those of the program.
constexpr int statusTimedOut = 124;
constexpr int statusLabTrouble = 125;
constexpr int statusNotExecutable = 126;
constexpr int statusNotFound = 127;
constexpr int statusOfSignal = 128; // plus the signal's number

/// What the launcher hands to the init, in a file that both see: what to set up and what to run. The texts may hold
/// any bytes.
struct RunOrder {
    std::vector<std::string> drives; ///< each described as parseDrive() takes it
    std::string results;             ///< the one folder of the machine that can be written, absolute; empty: none
    bool shortSleeps = false;
    std::vector<std::string> program;     ///< name and arguments
    std::vector<std::string> environment; ///< each "NAME=value"
    std::string workingDirectory;

    /// Both throw std::exception.
    void write(const std::string& path) const;
    static RunOrder read(const std::string& path);
};

} // namespace lab
