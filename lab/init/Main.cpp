// The lab's init: the first process of the kernel that runs as a process. It makes the system that the program is to
// find (file systems, modules, drives), runs the program and relays between it and the launcher outside.

#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "lab/drives/EmulatedDrives.h"
#include "lab/init/FileSystems.h"
#include "lab/init/GuestProgram.h"
#include "lab/init/Modules.h"
#include "lab/support/RunOrder.h"
#include "lab/target/ControlSocket.h"
#include "lab/target/DriveBay.h"

namespace {

// No thread of the drives is interrupted; what happens to the program is read as an event.
void blockSignals()
{
    sigset_t all;
    ::sigfillset(&all);
    lab::checked(::sigprocmask(SIG_SETMASK, &all, nullptr), "block signals");
}

// The first serial line, made transparent: no echo, no line ends of its own, no bytes with a meaning.
lab::Descriptor openLine()
{
    lab::Descriptor line = lab::openFile("/dev/ttyS0", O_RDWR | O_NOCTTY);
    termios settings{};
    lab::checked(::tcgetattr(line.number(), &settings), "ask for the line's settings");
    ::cfmakeraw(&settings);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    lab::checked(::tcsetattr(line.number(), TCSANOW, &settings), "make the line transparent");
    return line;
}

// What the program needs of the build folder is reached by another path: the list of libraries to preload is split at
// blanks, which the folder's path may have.
void linkToOwnFile(const std::string& name, const std::string& link)
{
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    std::filesystem::remove(link);
    std::filesystem::create_symlink(self.parent_path() / name, link);
}

// The drives are at anybody's service from then on, to the kernel's end.
lab::DriveBay& startDrives()
{
    static lab::DriveBay drives;
    lab::listenForRequests([](const std::string& request) { return drives.obey(request); });
    linkToOwnFile("lab-drive", "/usr/local/bin/lab-drive");
    return drives;
}

void makeDrives(const std::vector<std::string>& descriptions)
{
    for (const std::string& description : descriptions) {
        lab::EmulatedDrives().add(lab::parseDrive(description));
    }
}

// The program's environment is the init's own too: the commands that make drives are found on its path.
void takeEnvironment(const lab::RunOrder& order)
{
    for (const std::string& setting : order.environment) {
        const size_t equals = setting.find('=');
        ::setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
    }
}

lab::Program programOf(const lab::RunOrder& order)
{
    lab::Program program{order.program, {}, order.environment, order.workingDirectory};
    if (order.shortSleeps) {
        const std::string library = "/run/liblabsleep.so";
        linkToOwnFile("liblabsleep.so", library);
        program.environment.push_back("LD_PRELOAD=" + library);
    }
    return program;
}

// What the program wrote for the caller is written; what is on its way to a drive, which may not answer, is forgotten
// with the drive.
void writeResults(const std::string& folder)
{
    if (!folder.empty()) {
        const lab::Descriptor results = lab::openFile(folder, O_RDONLY | O_DIRECTORY);
        ::syncfs(results.number());
    }
}

void runProgram(lab::Channel& channel, const lab::RunOrder& order, lab::DriveBay& drives)
{
    lab::GuestProgram program(channel);
    try {
        program.start(programOf(order));
    } catch (const std::system_error& error) {
        const bool isMissing = error.code() == std::errc::no_such_file_or_directory;
        const int status = isMissing ? lab::statusNotFound : lab::statusNotExecutable;
        channel.send(lab::MessageKind::failure, std::to_string(status) + " " + error.what());
        return;
    }
    channel.send(lab::MessageKind::started);
    // Nobody who is killed must wait for a drive that does not answer.
    const int status = program.relay([&drives] { drives.healAll(); });
    writeResults(order.results);
    channel.send(lab::MessageKind::ended, std::to_string(status));
}

void runLab(lab::Channel& channel, const std::string& orderFile)
{
    const lab::RunOrder order = lab::RunOrder::read(orderFile);
    takeEnvironment(order);
    lab::loadOverlayModule();
    lab::enterOverlay();
    if (!order.results.empty()) {
        lab::mountResults(order.results);
    }
    lab::loadDiskModules();
    lab::DriveBay& drives = startDrives();
    makeDrives(order.drives);
    runProgram(channel, order, drives);
}

} // namespace

// The launcher ends the kernel once it has the last message; the first process must not end before.
int main(int count, char** arguments)
{
    ::signal(SIGPIPE, SIG_IGN);
    blockSignals();
    lab::mountKernelFileSystems();
    const lab::Descriptor line = openLine();
    lab::Channel channel(line.number());
    try {
        runLab(channel, count > 1 ? arguments[1] : "");
    } catch (const std::exception& error) {
        channel.send(lab::MessageKind::failure, std::to_string(lab::statusLabTrouble) + " " + error.what());
    }
    while (true) {
        ::pause();
    }
}
