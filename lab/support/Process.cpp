#include "lab/support/Process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

/// What the new process does before it becomes the program.
class Preparation {
public:
    explicit Preparation(const Program& program)
    {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
        for (size_t place = 0; place < program.descriptors.size(); ++place) {
            ::posix_spawn_file_actions_adddup2(&actions, program.descriptors[place], static_cast<int>(place));
        }
        if (!program.workingDirectory.empty()) {
            ::posix_spawn_file_actions_addchdir_np(&actions, program.workingDirectory.c_str());
        }
        setAttributes(program.hasOwnSession);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;
    ~Preparation()
    {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&actions);
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};

private:
    void setAttributes(bool hasOwnSession)
    {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::sigaddset(&signals, SIGPIPE); // which launcher and init ignore
        ::posix_spawnattr_setsigdefault(&attributes, &signals);
        const int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | (hasOwnSession ? POSIX_SPAWN_SETSID : 0);
        ::posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
    }
};

// The strings as a program is given its arguments and its environment. They are not changed.
std::vector<char*> pointersTo(const std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (const std::string& string : strings) {
        pointers.push_back(const_cast<char*>(string.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
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

Process::Process(const Program& program)
{
    const Preparation preparation(program);
    const std::vector<char*> arguments = pointersTo(program.arguments);
    const std::vector<char*> environment = pointersTo(program.environment);
    const int failure = ::posix_spawnp(&_number, arguments[0], &preparation.actions, &preparation.attributes,
                                       arguments.data(), program.environment.empty() ? environ : environment.data());
    if (failure != 0) {
        _number = -1;
        throw std::system_error(failure, std::generic_category(), "can't run " + program.arguments[0]);
    }
}

Process::Process(Process&& other) noexcept : _number(other.release()) {}

Process& Process::operator=(Process&& other) noexcept
{
    std::swap(_number, other._number);
    return *this;
}

Process::~Process()
{
    if (_number > 0) {
        ::kill(_number, SIGKILL);
        ::waitpid(_number, nullptr, 0);
    }
}

void Process::kill(int signal) const
{
    checked(::kill(_number, signal), "send a signal");
}

int Process::wait(int baseOfSignals)
{
    int status = 0;
    checked(::waitpid(_number, &status, 0), "wait for a process");
    _number = -1;
    return statusOf(status, baseOfSignals);
}

pid_t Process::release()
{
    return std::exchange(_number, -1);
}

int Process::statusOf(int waitStatus, int baseOfSignals)
{
    return WIFSIGNALED(waitStatus) ? baseOfSignals + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

// The input is written before anything is read: what the lab has to say to a command fits into a pipe.
std::string runCommand(const std::vector<std::string>& command, const std::string& input)
{
    Pipe inputPipe;
    Pipe outputPipe;
    writeAll(inputPipe.writeEnd.number(), input.data(), input.size());
    inputPipe.writeEnd.close();
    const int outputEnd = outputPipe.writeEnd.number();
    Process process({command, {inputPipe.readEnd.number(), outputEnd, outputEnd}});
    outputPipe.writeEnd.close();
    std::string output;
    while (readOnto(output, outputPipe.readEnd.number())) {
    }
    if (const int status = process.wait(); status != 0) {
        throw std::runtime_error("'" + joined(command) + "' failed (status " + std::to_string(status) + "): " + output);
    }
    return output;
}

} // namespace lab
