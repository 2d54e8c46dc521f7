#include "lab/init/Execution.h"

#include <signal.h>
#include <sys/wait.h>

#include <cerrno>

#include "lab/support/Arguments.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

void resetSignals()
{
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
}

bool takeDescriptors(const std::array<int, 3>& standardDescriptors)
{
    bool taken = true;
    for (int number = 0; number < 3; ++number) {
        taken = taken && ::dup2(standardDescriptors[static_cast<size_t>(number)], number) == number;
    }
    return taken;
}

// Returns only if the program can't be run; errno tells why.
void become(const Execution& execution, const std::array<int, 3>& standardDescriptors)
{
    const Arguments arguments(execution.arguments);
    const Arguments environment(execution.environment);
    resetSignals();
    ::setsid();
    if (takeDescriptors(standardDescriptors) && ::chdir(execution.workingDirectory.c_str()) == 0) {
        ::execvpe(arguments.first(), arguments.all(), environment.all());
    }
}

} // namespace

// The new process tells its failure through a pipe that a successful exec closes.
int Execution::start(pid_t& process, const std::array<int, 3>& standardDescriptors) const
{
    Pipe report;
    process = checked(::fork(), "fork");
    if (process == 0) {
        become(*this, standardDescriptors);
        const int failure = errno;
        writeAll(report.writeEnd.number(), &failure, sizeof(failure));
        ::_exit(127);
    }
    report.writeEnd.close();
    int failure = 0;
    checked(static_cast<int>(::read(report.readEnd.number(), &failure, sizeof(failure))), "start the program");
    return failure;
}

} // namespace lab
