#pragma once

#include <optional>

#include "platform/SenseData.h"

/// Internal to the platform library: one command through SG_IO and what became of it.
#pragma GCC visibility push(hidden)
namespace scsi {

struct Command {
    const void* cdb;
    int cdbLength;
    void* data;
    int dataLength; ///< 0: no data phase
    bool toDevice;
    int timeoutSeconds;
};

/// What a command that the system took ended with.
struct Answer {
    int hostStatus;
    int driverStatus;
    int status;       ///< SAM
    SenseBytes sense; ///< in fixed format; zeros where the device sent none

    /// 0 for success, the SCSI status of a rejected command, 0x10000 | host status of one that did not get through.
    int result() const;

    bool isUnitAttention() const;
};

/// Sends a command and waits for its end.
///
/// @return nothing and the reason in `errno` where the system refuses it.
std::optional<Answer> submit(int descriptor, const Command& command);

} // namespace scsi
#pragma GCC visibility pop
