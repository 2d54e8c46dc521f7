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

    /// True for a command of which nobody knows whether the device carried it out.
    bool isLost() const;

    bool isUnitAttention() const;

    /// True for a UNIT ATTENTION after which another medium may be in the drive: one came in (28h), the device was
    /// reset (29h), its capacity changed (2Ah 09h).
    bool tellsOfAnotherMedium() const;
};

/// Sends a command and waits for its end. What a device does not send of the data asked for is zero. Signals that do
/// not come of a fault of the thread's own wait until the command has ended.
///
/// @return nothing and the reason in `errno` where the system refuses it.
std::optional<Answer> submit(int descriptor, const Command& command);

} // namespace scsi
#pragma GCC visibility pop
