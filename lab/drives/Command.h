#pragma once

#include <string>
#include <vector>

namespace lab {

/// Runs a program of the system, looked up on the path, and waits for its end.
///
/// @param input what the program reads from its standard input
/// @return what it wrote, standard error included
/// @throws std::runtime_error naming the command and what it wrote, if it can't be run or does not exit with 0
std::string runCommand(const std::vector<std::string>& command, const std::string& input = {});

} // namespace lab
