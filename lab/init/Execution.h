#pragma once

#include <sys/types.h>

#include <array>
#include <string>
#include <vector>

namespace lab {

/// How a process is made of a program: what it is called with and where it runs.
struct Execution {
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::string workingDirectory;

    /// Starts the process with the given standard descriptors, in a session of its own.
    ///
    /// @param process receives its number
    /// @return 0 once the program runs, or errno of the step that failed
    int start(pid_t& process, const std::array<int, 3>& standardDescriptors) const;
};

} // namespace lab
