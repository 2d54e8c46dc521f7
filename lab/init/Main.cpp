// The lab's init: the first process of the kernel that runs as a process. It makes the system that the program is to
// find (file systems, modules, drives), runs the program and relays between it and the launcher outside.

#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

#include "lab/drives/EmulatedDrives.h"
#include "lab/init/FileSystems.h"
#include "lab/init/GuestProgram.h"
#include "lab/init/Modules.h"
#include "lab/support/LabOptions.h"
#include "lab/support/RunOrder.h"

namespace {

constexpr int statusLabTrouble = 125;
constexpr int statusNotExecutable = 126;
constexpr int statusNotFound = 127;

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

lab::Message receiveMessage(lab::Channel& channel)
{
    std::optional<lab::Message> message = channel.next();
    while (!message) {
        channel.receive();
        message = channel.next();
    }
    return *message;
}

// The order comes in pieces, each asked for, until an empty one.
lab::RunOrder receiveOrder(lab::Channel& channel)
{
    std::string bytes;
    for (std::string piece = "first"; !piece.empty();) {
        channel.send(lab::MessageKind::ready);
        piece = receiveMessage(channel).payload;
        bytes += piece;
    }
    return lab::RunOrder::fromBytes(bytes);
}

void makeDrives(const lab::LabOptions& options)
{
    lab::loadDiskModules();
    lab::EmulatedDrives drives(options.emulation);
    for (const lab::DriveDescription& description : options.drives) {
        drives.add(description);
    }
    drives.setDescriptorSense(options.descriptorSense);
    drives.setWriteProtected(options.writeProtected);
    drives.setCommandLog(options.logCommands);
}

// The program's environment is the init's own too: the commands that make drives are found on its path.
void takeEnvironment(const lab::RunOrder& order)
{
    for (const std::string& setting : order.environment) {
        const size_t equals = setting.find('=');
        ::setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
    }
}

// A library is preloaded by another path, for the list of libraries to preload is split at blanks, which the path of a
// build folder may have.
std::string linkToLibrary(const std::string& name)
{
    std::string link = "/run/" + name;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    std::filesystem::create_symlink(self.parent_path() / name, link);
    return link;
}

std::string preloadedLibraries(const lab::LabOptions& options)
{
    std::string list;
    if (options.shortSleeps) {
        list += linkToLibrary("liblabsleep.so") + " ";
    }
    if (options.scriptedAnswers) {
        list += linkToLibrary("liblabanswers.so") + " ";
    }
    return list;
}

lab::GuestProgram::Settings programSettings(const lab::RunOrder& order, const lab::LabOptions& options)
{
    lab::GuestProgram::Settings settings{options.program, order.environment, order.workingDirectory};
    const std::string libraries = preloadedLibraries(options);
    if (!libraries.empty()) {
        settings.environment.push_back("LD_PRELOAD=" + libraries);
    }
    return settings;
}

void runProgram(lab::Channel& channel, const lab::GuestProgram::Settings& settings)
{
    lab::GuestProgram program(channel);
    const int failure = program.start(settings);
    if (failure != 0) {
        const int status = failure == ENOENT ? statusNotFound : statusNotExecutable;
        channel.send(lab::MessageKind::failure,
                     std::to_string(status) + " can't run " + settings.arguments[0] + ": " + std::strerror(failure));
        return;
    }
    channel.send(lab::MessageKind::started);
    const int status = program.relay();
    ::sync();
    channel.send(lab::MessageKind::ended, std::to_string(status));
}

void runLab(lab::Channel& channel)
{
    const lab::RunOrder order = receiveOrder(channel);
    takeEnvironment(order);
    // Folders named on the command line are meant as the caller sees them.
    lab::checked(::chdir(order.workingDirectory.c_str()), "enter " + order.workingDirectory);
    const lab::LabOptions options = lab::parseOptions(order.arguments);
    lab::loadOverlayModule();
    lab::enterOverlay();
    if (!options.results.empty()) {
        lab::mountResults(options.results);
    }
    makeDrives(options);
    runProgram(channel, programSettings(order, options));
}

} // namespace

// The launcher ends the kernel once it has the last message; the first process must not end before.
int main()
{
    ::signal(SIGPIPE, SIG_IGN);
    lab::mountKernelFileSystems();
    const lab::Descriptor line = openLine();
    lab::Channel channel(line.number());
    try {
        runLab(channel);
    } catch (const std::exception& error) {
        channel.send(lab::MessageKind::failure, std::to_string(statusLabTrouble) + " " + error.what());
    }
    while (true) {
        ::pause();
    }
}
