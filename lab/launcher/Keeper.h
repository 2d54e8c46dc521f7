#pragma once

#include <sys/types.h>

#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace lab {

/// Runs a program and makes sure that it, with every process that it starts, ends with this object, and also if this
/// process is killed: a process of its own, out of reach of what a terminal sends, keeps watch.
class Keeper {
public:
    explicit Keeper(const Program& program);
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;
    ~Keeper();

private:
    Descriptor _lifeline; // its end is how the keeper learns that this process is gone
    pid_t _process = -1;
};

} // namespace lab
