#pragma once

#include <string>

namespace lab {

// Where the machine can't run the lab, std::runtime_error tells what is missing.

/// The kernel that runs as a process.
std::string findKernel();

/// A folder for the kernel's memory file: the fastest that has the room and lets memory be executed.
std::string memoryFolder(int megabytes);

/// The absolute path of a file of the lab's own, which lies beside the running program.
std::string besideThisProgram(const std::string& name);

} // namespace lab
