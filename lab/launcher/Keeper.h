#pragma once

#include <sys/types.h>

#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace lab {

/// Runs a program and makes sure that it, with every process that it starts, ends with this object, and also if this
/// process is killed: another one, out of reach of what a terminal sends, keeps watch. If that is killed, this one does
/// its work at the end.
class Keeper {
public:
    explicit Keeper(Program program);
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;
    ~Keeper();

private:
    Process _program;
    Descriptor _lifeline; // its end is how the process that keeps watch learns that this one is gone
    pid_t _watch = -1;
};

} // namespace lab
