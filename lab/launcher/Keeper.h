#pragma once

#include <sys/types.h>

#include <functional>

#include "lab/support/Descriptor.h"

namespace lab {

/// Runs a program and makes sure that it, with every process that it starts, ends with this object, and also if this
/// process is killed: a process of its own, out of reach of what a terminal sends, keeps watch.
class Keeper {
public:
    /// @param become called in the new process to turn it into the program; must not return if it succeeds
    explicit Keeper(const std::function<void()>& become);
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;
    ~Keeper();

private:
    Descriptor _lifeline; // its end is how the keeper learns that this process is gone
    pid_t _process = -1;
};

} // namespace lab
