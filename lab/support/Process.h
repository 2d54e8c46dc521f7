#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace lab {

/// How a process is made of a program.
struct Program {
    std::vector<std::string> arguments;        ///< the first, without a slash in it, is looked up on the path
    std::vector<int> descriptors = {0, 1, 2};  ///< the n-th becomes its descriptor n; none may be below its n
    std::vector<std::string> environment = {}; ///< each "NAME=value"; none: this process's
    std::string workingDirectory = {};         ///< empty: this process's
    bool hasOwnSession = false;                ///< no signals of a terminal reach it; it leads a group of its own
};

/// A program that was started; it is killed and waited for where the object goes before it has ended.
class Process {
public:
    Process() = default;

    /// Starts it, with no signal blocked; throws std::system_error with the reason where it can't be run.
    explicit Process(const Program& program);
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) noexcept;
    ~Process();

    pid_t number() const { return _number; }

    void kill(int signal) const;

    /// Waits for its end. @return as by statusOf
    int wait(int baseOfSignals = 128);

    /// Leaves the waiting to the caller. @return its number
    pid_t release();

    /// A wait status as a shell shows it: the exit status, or the base and the signal that it died of.
    static int statusOf(int waitStatus, int baseOfSignals = 128);

private:
    pid_t _number = -1;
};

/// Runs a program of the system and waits for its end.
///
/// @param input what the program reads from its standard input, 64 KB at most
/// @return what it wrote, standard error included
/// @throws std::runtime_error naming the command and what it wrote, if it can't be run or does not exit with 0
std::string runCommand(const std::vector<std::string>& command, const std::string& input = {});

} // namespace lab
