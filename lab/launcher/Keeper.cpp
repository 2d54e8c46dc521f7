#include "lab/launcher/Keeper.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

// As leader of a session the program can't leave its group, and all that it starts can be found there. It dies with
// the process that started it, too.
Program mortal(Program program)
{
    const std::vector<std::string> command{"/usr/bin/setpriv", "--pdeathsig", "KILL", "--"};
    program.arguments.insert(program.arguments.begin(), command.begin(), command.end());
    program.hasOwnSession = true;
    return program;
}

// The end of the program, or of the process that wanted it, is the end of the program's whole group. No file is held
// open meanwhile, for others wait for the ends of pipes.
[[noreturn]] void watch(int lifeline, pid_t program)
{
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    ::setsid();
    ::dup2(lifeline, 0);
    ::close_range(1, ~0U, 0);
    const int ended = static_cast<int>(::syscall(SYS_pidfd_open, program, 0));
    std::array<pollfd, 2> ends{{{0, POLLIN, 0}, {ended, POLLIN, 0}}};
    ::poll(ends.data(), ends.size(), -1);
    ::kill(-program, SIGKILL);
    ::_exit(0);
}

} // namespace

Keeper::Keeper(Program program) : _program(mortal(std::move(program)))
{
    Pipe lifeline;
    _watch = checked(::fork(), "fork");
    if (_watch == 0) {
        watch(lifeline.readEnd.number(), _program.number());
    }
    _lifeline = std::move(lifeline.writeEnd);
}

// The program is waited for last: until then its number is nobody else's.
Keeper::~Keeper()
{
    _lifeline.close();
    ::waitpid(_watch, nullptr, 0);
    ::kill(-_program.number(), SIGKILL);
}

} // namespace lab
