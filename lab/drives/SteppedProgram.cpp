#include "lab/drives/SteppedProgram.h"

#include <fcntl.h>
#include <poll.h>

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
    Pipe pipe(O_DIRECT);
    const int input = pipe.writeEnd.number();
    checked(::fcntl(input, F_SETPIPE_SZ, 1), "size of a pipe");
    _said.clear();
    _process = Process({{"/bin/sh", "-c", line}, {STDIN_FILENO, input, input}});
    _output = std::move(pipe.readEnd);
}

void SteppedProgram::runBehind(const std::string& text, int times)
{
    while (occurrences(_said, text) < times && read()) {
    }
    pollfd next{_output.number(), POLLIN, 0};
    checked(::poll(&next, 1, -1), "poll");
}

int SteppedProgram::finish()
{
    while (read()) {
    }
    return _process.wait();
}

} // namespace lab
