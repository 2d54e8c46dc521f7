#pragma once

#include <atomic>
#include <mutex>
#include <optional>

#include "platform/CommandQueue.h"
#include "platform/ScsiCommand.h"

/// Internal to the platform library: what the threads of this process have to agree on about one device.
#pragma GCC visibility push(hidden)
namespace scsi {

/// Commands to a device, and what its disk driver in the kernel has to be told of them. May be used by several threads.
///
/// The driver learns of a change of medium from the UNIT ATTENTION that one of its own commands gets, or when its
/// block node is opened. Opening and closing that node makes it send PREVENT and ALLOW: it is left alone as long as a
/// PREVENT of this process holds, and where it is the node of `descriptor`, since a record lock on it would be lost.
class SharedDevice {
public:
    /// Waits for its turn, sends a command and waits for its end.
    ///
    /// @return nothing and the reason in `errno` where the system refuses it.
    std::optional<Answer> submit(int descriptor, const Command& command);

    /// Makes the kernel read size and partition table of the disk anew, unless somebody has it in use.
    void readMediumAnew(int descriptor);

    /// Makes the kernel look for a medium where it knows of none.
    void lookForMedium(int descriptor);

    /// Another device, or this one after it was away: it knows nothing of commands that were sent before.
    void forgetCommands() { _removalPrevented = false; }

private:
    std::optional<Answer> submitInTurn(int descriptor, const Command& command);

    CommandQueue _queue;
    std::mutex _removal; ///< held while removal is prevented or allowed, be it by the driver
    std::atomic<bool> _removalPrevented{false};
};

} // namespace scsi
#pragma GCC visibility pop
