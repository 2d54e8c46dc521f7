#include "lab/tests/LabProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>
#include <sstream>

#include "lab/drives/Waiting.h"
#include "lab/support/Arguments.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void becomeLab(const std::string& folder, const Arguments& arguments)
{
    const Descriptor input = openFile(folder + "/input", O_RDONLY);
    const Descriptor output = openFile(folder + "/output", O_WRONLY | O_CREAT);
    const Descriptor error = openFile(folder + "/error", O_WRONLY | O_CREAT);
    ::dup2(input.number(), STDIN_FILENO);
    ::dup2(output.number(), STDOUT_FILENO);
    ::dup2(error.number(), STDERR_FILENO);
    ::execv(arguments.first(), arguments.all());
}

} // namespace

LabProcess::LabProcess(const std::vector<std::string>& arguments, const std::string& input)
{
    std::ofstream(_folder.path() + "/input", std::ios::binary) << input;
    std::vector<std::string> command{LAB_RUN};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Arguments all(command);
    _process = checked(::fork(), "fork");
    if (_process == 0) {
        ::setenv("KRMO_BUILD", LAB_BUILD, 1);
        becomeLab(_folder.path(), all);
        ::_exit(99);
    }
}

LabProcess::~LabProcess()
{
    if (_process > 0) {
        signal(SIGKILL);
        wait();
    }
}

void LabProcess::waitForOutput(const std::string& text) const
{
    waitUntil("the program writes " + text, [this, &text] { return output().find(text) != std::string::npos; });
}

void LabProcess::signal(int number) const
{
    ::kill(_process, number);
}

int LabProcess::wait()
{
    int status = 0;
    checked(::waitpid(_process, &status, 0), "wait for the lab");
    _process = -1;
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string LabProcess::output() const
{
    return contentOf(_folder.path() + "/output");
}

std::string LabProcess::error() const
{
    return contentOf(_folder.path() + "/error");
}

} // namespace lab
