#include "lab/launcher/Keeper.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <array>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

sigset_t signalSet(bool full)
{
    sigset_t signals;
    full ? ::sigfillset(&signals) : ::sigemptyset(&signals);
    return signals;
}

// As leader of a process group the program can't leave it for another, and all that it starts can be found there.
pid_t startProgram(const std::function<void()>& become)
{
    const pid_t program = ::fork();
    if (program == 0) {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const sigset_t none = signalSet(false);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        become();
        ::_exit(127);
    }
    ::setpgid(program, program);
    return program;
}

// The end of the program, or of the process that wanted it, is the end of the program's whole group.
[[noreturn]] void keep(int lifeline, const std::function<void()>& become)
{
    ::setsid();
    const sigset_t all = signalSet(true);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    sigset_t child = signalSet(false);
    ::sigaddset(&child, SIGCHLD);
    const int childEnded = ::signalfd(-1, &child, SFD_CLOEXEC);
    const pid_t program = startProgram(become);
    std::array<pollfd, 2> ends{{{lifeline, POLLIN, 0}, {childEnded, POLLIN, 0}}};
    ::poll(ends.data(), ends.size(), -1);
    ::kill(-program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    ::_exit(0);
}

} // namespace

Keeper::Keeper(const std::function<void()>& become)
{
    Pipe lifeline;
    _process = checked(::fork(), "fork");
    if (_process == 0) {
        lifeline.writeEnd.close();
        keep(lifeline.readEnd.number(), become);
    }
    _lifeline = std::move(lifeline.writeEnd);
}

Keeper::~Keeper()
{
    _lifeline.close();
    ::waitpid(_process, nullptr, 0);
}

} // namespace lab
