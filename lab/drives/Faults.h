#pragma once

#include <string>

namespace lab {

// Faults of the system and of media. They hold for all processes, and whichever calls for it ends them.

/// Takes a file of the system away.
void takeAway(const std::string& path);

/// Puts a line for the shell in the place of a program; it finds the true one as "$0.away".
void replaceProgram(const std::string& path, const std::string& line);

/// Replaces a program by one that hangs until a process in the background sees it hang, and then dies by SIGKILL; for
/// one run of it.
void letHangAndDie(const std::string& path);

/// Brings back what was taken away or replaced.
void restoreFiles();

/// Overwrites sectors of 512 bytes with what a command for the shell prints, and has the kernel read the partition
/// table of a drive that is not in use.
void overwriteSectors(const std::string& blockNode, int first, int number, const std::string& command);

/// Overwrites the partition table by one with these entries, given as printf of the shell takes bytes.
void overwritePartitionTable(const std::string& blockNode, const std::string& entries);

/// Writes back what was there before.
void restoreSectors(const std::string& blockNode);

} // namespace lab
