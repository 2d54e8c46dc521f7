// The lab's launcher: boots a kernel as a process and lets it run one program among emulated drives.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "lab/launcher/GuestKernel.h"
#include "lab/launcher/LabOptions.h"
#include "lab/launcher/Session.h"

namespace {

// A descriptor of the lab's own must not take the place of a standard one that the caller closed.
void openMissingStandardDescriptors()
{
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    ::close(descriptor);
}

void addSurroundings(lab::RunOrder& order)
{
    order.workingDirectory = std::filesystem::current_path();
    const char* const terminal = std::getenv("TERM");
    order.environment = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/root", "LC_ALL=C",
                         "USER=root", std::string("TERM=") + (terminal != nullptr ? terminal : "dumb")};
}

int runLab(const std::vector<std::string>& arguments)
{
    lab::LabOptions options = lab::parseOptions(arguments);
    if (!options.help.empty()) {
        std::cout << options.help;
        return 0;
    }
    addSurroundings(options.order);
    lab::GuestKernel kernel(options.order, options.memoryMegabytes);
    return lab::Session(kernel, options).run();
}

// A caller that closes its end of our output ends us as it would end the program: quietly.
int statusOf(const std::system_error& error)
{
    if (error.code() == std::errc::broken_pipe) {
        return lab::statusOfSignal + SIGPIPE;
    }
    std::cerr << "lab: " << error.what() << '\n';
    return lab::statusLabTrouble;
}

} // namespace

int main(int count, char** arguments)
{
    try {
        openMissingStandardDescriptors();
        ::signal(SIGPIPE, SIG_IGN);
        return runLab({arguments + 1, arguments + count});
    } catch (const std::system_error& error) {
        return statusOf(error);
    } catch (const lab::UsageError& error) {
        std::cerr << "lab: " << error.what() << "; see lab/run --help\n";
    } catch (const std::exception& error) {
        std::cerr << "lab: " << error.what() << '\n';
    }
    return lab::statusLabTrouble;
}
