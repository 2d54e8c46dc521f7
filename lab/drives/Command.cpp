#include "lab/drives/Command.h"

#include <signal.h>
#include <sys/wait.h>

#include <stdexcept>

#include "lab/support/Arguments.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

[[noreturn]] void become(const std::vector<std::string>& command, int input, int output)
{
    const Arguments arguments(command);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (::dup2(input, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 && ::dup2(output, STDERR_FILENO) >= 0) {
        ::execvp(arguments.first(), arguments.all());
    }
    ::_exit(127);
}

std::string joined(const std::vector<std::string>& command)
{
    std::string line;
    for (const std::string& argument : command) {
        line += (line.empty() ? "" : " ") + argument;
    }
    return line;
}

} // namespace

// The input is written before anything is read: what the lab has to say to a command fits into a pipe.
std::string runCommand(const std::vector<std::string>& command, const std::string& input)
{
    Pipe inputPipe;
    Pipe outputPipe;
    writeAll(inputPipe.writeEnd.number(), input.data(), input.size());
    inputPipe.writeEnd.close();
    const pid_t process = checked(::fork(), "fork");
    if (process == 0) {
        become(command, inputPipe.readEnd.number(), outputPipe.writeEnd.number());
    }
    outputPipe.writeEnd.close();
    std::string output = readToEnd(outputPipe.readEnd.number());
    int status = 0;
    checked(::waitpid(process, &status, 0), "wait for " + command[0]);
    if (status != 0) {
        throw std::runtime_error("'" + joined(command) + "' failed (wait status " + std::to_string(status) +
                                 "): " + output);
    }
    return output;
}

} // namespace lab
