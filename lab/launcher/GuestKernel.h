#pragma once

#include <memory>
#include <string>

#include "lab/launcher/Keeper.h"
#include "lab/support/RunOrder.h"
#include "lab/support/SystemCall.h"
#include "lab/support/TemporaryFolder.h"

namespace lab {

/// A Linux kernel that runs as a process of this machine, with an init of ours. It lives no longer than this object.
class GuestKernel {
public:
    /// Starts the kernel, whose init finds the order; throws std::runtime_error.
    GuestKernel(const RunOrder& order, int memoryMegabytes);

    /// The line to the init: what is written here is read there from its first serial line, and the reverse.
    int line() const { return _line.number(); }

    /// The kernel's messages, for reading; they end when the kernel does.
    int console() const { return _console.number(); }

private:
    TemporaryFolder _folder;
    Descriptor _line;
    Descriptor _console;
    std::unique_ptr<Keeper> _keeper;
};

} // namespace lab
