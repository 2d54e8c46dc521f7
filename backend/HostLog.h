#pragma once

#include <initializer_list>
#include <string_view>

/// Internal: the one way from the backend and the front end's objects to the host's log callback.

/// Identifier of the messages that belong to no drive: the factory's and the backend's static operations'.
constexpr long long noDevice = -1;

/// Levels of the log lines. 2 is not used.
enum LogLevel : int {
    statusLevel = -1, ///< a SCSI command that the drive rejected, but for the ready test
    backendLevel = 0, ///< failures of the Linux backend
    errorLevel = 1,   ///< native errors, sense and data dumps
    traceLevel = 3,   ///< entry of an operation, progress
};

/// Joins the pieces into one message and hands it to the host's callback. While the host has none installed nothing
/// is put together: that keeps file operations free of allocations when nobody listens.
void logToHost(int level, const long long& deviceId, std::initializer_list<std::string_view> pieces);

/// The form in which an object speaks: "Device [" + its path + "] - " + text.
void logForDevice(int level, const long long& deviceId, std::string_view devicePath, std::string_view text);
