#pragma once

#include <stdexcept>
#include <string>

namespace lab {

/// The machine can't run the lab; the text says what is missing.
class MachineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The kernel that runs as a process; throws MachineError where it is not installed or can't run.
std::string findKernel();

/// A folder for the kernel's memory file: the fastest that has the room and lets memory be executed.
std::string memoryFolder(int megabytes);

/// The absolute path of a file of the lab's own, which lies beside the running program.
std::string besideThisProgram(const std::string& name);

} // namespace lab
