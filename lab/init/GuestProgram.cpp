#include "lab/init/GuestProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>

namespace lab {

namespace {

Descriptor childSignalDescriptor()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGCHLD);
    return Descriptor(checked(::signalfd(-1, &signals, SFD_CLOEXEC), "receive SIGCHLD"));
}

} // namespace

// The waiting is for all children, those that the program leaves behind among them.
void GuestProgram::start(Program program)
{
    Pipe input;
    Pipe output;
    Pipe error;
    program.descriptors = {input.readEnd.number(), output.writeEnd.number(), error.writeEnd.number()};
    program.hasOwnSession = true;
    _process = Process(program).release();
    _input = std::move(input.writeEnd);
    _output = std::move(output.readEnd);
    _error = std::move(error.readEnd);
    checked(::fcntl(_input.number(), F_SETFL, O_NONBLOCK), "make the program's input non-blocking");
}

int GuestProgram::relay(const std::function<void()>& atItsEnd)
{
    const Descriptor childSignals = childSignalDescriptor();
    // The program may have ended before its end could be signalled here.
    reapChildren(-1);
    while (!_status) {
        waitForEvents(childSignals.number());
    }
    ::kill(-1, SIGKILL);
    atItsEnd();
    drainOutputs();
    return *_status;
}

void GuestProgram::waitForEvents(int childSignals)
{
    std::array<pollfd, 5> events{{{childSignals, POLLIN, 0},
                                  {_channel.descriptor(), POLLIN, 0},
                                  {_output.number(), POLLIN, 0},
                                  {_error.number(), POLLIN, 0},
                                  {_pendingInput.empty() ? -1 : _input.number(), POLLOUT, 0}}};
    if (::poll(events.data(), events.size(), -1) < 0) {
        return;
    }
    if (events[2].revents != 0) {
        forward(_output, MessageKind::standardOutput);
    }
    if (events[3].revents != 0) {
        forward(_error, MessageKind::standardError);
    }
    if (events[4].revents != 0) {
        feedInput();
    }
    if (events[1].revents != 0) {
        takeMessages();
    }
    if (events[0].revents != 0) {
        reapChildren(childSignals);
    }
}

// Sends what the program wrote; false at the end of that output, which is then closed.
bool GuestProgram::forward(Descriptor& output, MessageKind kind)
{
    std::array<char, 16384> buffer;
    const ssize_t count = ::read(output.number(), buffer.data(), buffer.size());
    if (count <= 0) {
        output.close();
        return false;
    }
    _channel.send(kind, {buffer.data(), static_cast<size_t>(count)});
    return true;
}

void GuestProgram::drainOutputs()
{
    while (_output.isOpen() && forward(_output, MessageKind::standardOutput)) {
    }
    while (_error.isOpen() && forward(_error, MessageKind::standardError)) {
    }
}

void GuestProgram::takeMessages()
{
    _channel.receive();
    for (auto message = _channel.next(); message; message = _channel.next()) {
        obey(*message);
    }
}

// What a terminal sends, it sends to all processes in front of it; any other signal is meant for the program alone.
void GuestProgram::obey(const Message& message)
{
    if (message.kind == MessageKind::standardInput) {
        takeInput(message.payload);
    } else if (message.kind == MessageKind::signal) {
        const int signal = std::stoi(message.payload);
        const bool ofTerminal = signal == SIGINT || signal == SIGQUIT || signal == SIGHUP;
        ::kill(ofTerminal ? -_process : _process, signal);
    }
}

void GuestProgram::takeInput(const std::string& bytes)
{
    _pendingInput = bytes;
    if (bytes.empty()) {
        _input.close();
    } else {
        feedInput();
    }
}

// A program that has closed its input gets no more of it, but the launcher is not told: its caller may be a terminal
// with a reader to come.
void GuestProgram::feedInput()
{
    const ssize_t written = ::write(_input.number(), _pendingInput.data(), _pendingInput.size());
    if (written < 0 && errno == EPIPE) {
        _pendingInput.clear();
        _input.close();
        return;
    }
    _pendingInput.erase(0, written > 0 ? static_cast<size_t>(written) : 0);
    if (_pendingInput.empty()) {
        _channel.send(MessageKind::inputTaken);
    }
}

void GuestProgram::reapChildren(int childSignals)
{
    signalfd_siginfo ignored{};
    if (childSignals >= 0 && ::read(childSignals, &ignored, sizeof(ignored)) < 0) {
        return;
    }
    int waitStatus = 0;
    for (pid_t child = ::waitpid(-1, &waitStatus, WNOHANG); child > 0; child = ::waitpid(-1, &waitStatus, WNOHANG)) {
        if (child == _process) {
            _status = Process::statusOf(waitStatus);
        }
    }
}

} // namespace lab
