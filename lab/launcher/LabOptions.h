#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "lab/support/RunOrder.h"

namespace lab {

/// The command line of the lab.
struct LabOptions {
    RunOrder order;          ///< what concerns the init; without the caller's surroundings
    int memoryMegabytes = 0; ///< of the kernel
    int timeoutSeconds = 0;  ///< bound for boot and program; 0: none but the boot's own
    bool verbose = false;
    std::string help; ///< to be shown in place of a run, where it was asked for
};

/// The command line can't be obeyed; the text says what is wrong with it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @param arguments without the launcher's own name
/// @throws UsageError
LabOptions parseOptions(const std::vector<std::string>& arguments);

} // namespace lab
