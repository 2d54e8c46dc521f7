#include "lab/launcher/Keeper.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <array>
#include <iostream>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

sigset_t signalSet(bool full)
{
    sigset_t signals;
    full ? ::sigfillset(&signals) : ::sigemptyset(&signals);
    return signals;
}

// The end of the program, or of the process that wanted it, is the end of the program's whole group.
void keep(int lifeline, const Program& program)
{
    ::setsid();
    const sigset_t all = signalSet(true);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    sigset_t child = signalSet(false);
    ::sigaddset(&child, SIGCHLD);
    const int childEnded = ::signalfd(-1, &child, SFD_CLOEXEC);
    Process process(program);
    std::array<pollfd, 2> ends{{{lifeline, POLLIN, 0}, {childEnded, POLLIN, 0}}};
    ::poll(ends.data(), ends.size(), -1);
    ::kill(-process.number(), SIGKILL);
    process.wait();
}

// As leader of a process group the program can't leave it for another, and all that it starts can be found there. It
// dies with its keeper, too.
Program kept(Program program)
{
    const std::vector<std::string> mortal{"/usr/bin/setpriv", "--pdeathsig", "KILL", "--"};
    program.arguments.insert(program.arguments.begin(), mortal.begin(), mortal.end());
    program.group = Program::Group::ofItsOwn;
    return program;
}

[[noreturn]] void become(int lifeline, const Program& program)
{
    try {
        keep(lifeline, kept(program));
    } catch (const std::exception& error) {
        std::cerr << "lab: " << error.what() << '\n';
    }
    ::_exit(0);
}

} // namespace

Keeper::Keeper(const Program& program)
{
    Pipe lifeline;
    _process = checked(::fork(), "fork");
    if (_process == 0) {
        lifeline.writeEnd.close();
        become(lifeline.readEnd.number(), program);
    }
    _lifeline = std::move(lifeline.writeEnd);
}

Keeper::~Keeper()
{
    _lifeline.close();
    ::waitpid(_process, nullptr, 0);
}

} // namespace lab
