#include "lab/drives/SteppedProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

int occurrences(const std::string& text, const std::string& part)
{
    int number = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++number;
    }
    return number;
}

} // namespace

// O_DIRECT keeps each write apart, and the smallest pipe has room for one.
void SteppedProgram::start(const std::string& line)
{
    std::array<int, 2> ends{};
    checked(::pipe2(ends.data(), O_CLOEXEC | O_DIRECT), "pipe");
    _output = Descriptor(ends[0]);
    const Descriptor input(ends[1]);
    checked(::fcntl(input.number(), F_SETPIPE_SZ, 1), "size of a pipe");
    _said.clear();
    _process = checked(::fork(), "fork");
    if (_process == 0) {
        ::dup2(input.number(), STDOUT_FILENO);
        ::dup2(input.number(), STDERR_FILENO);
        ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        ::_exit(127);
    }
}

void SteppedProgram::runBehind(const std::string& text, int times)
{
    while (occurrences(_said, text) < times && read()) {
    }
    pollfd next{_output.number(), POLLIN, 0};
    checked(::poll(&next, 1, -1), "poll");
}

void SteppedProgram::kill(int signal) const
{
    checked(::kill(_process, signal), "signal to a program");
}

int SteppedProgram::finish()
{
    while (read()) {
    }
    int status = 0;
    checked(::waitpid(_process, &status, 0), "wait for a program");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool SteppedProgram::read()
{
    std::array<char, 4096> text;
    const ssize_t length = ::read(_output.number(), text.data(), text.size());
    _said.append(text.data(), length > 0 ? static_cast<size_t>(length) : 0);
    return length > 0;
}

} // namespace lab
