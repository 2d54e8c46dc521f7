#include "lab/launcher/Session.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <iostream>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

constexpr size_t consoleTailSize = 3000;
// The kernel's serial line stalls for good once 4 KB wait to be read from it, so the input goes in as small pieces,
// each sent when the one before was taken.
constexpr size_t pieceSize = 2048;

constexpr std::chrono::seconds bootLimit{60};
constexpr int pollMilliseconds = 200; // how late the end of a time-out, or of the kernel, may be seen

// The signals that a caller ends or prods a program with; they arrive through a descriptor, among the other events.
Descriptor passedSignals()
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
        ::sigaddset(&signals, signal);
    }
    checked(::sigprocmask(SIG_BLOCK, &signals, nullptr), "block signals");
    return Descriptor(checked(::signalfd(-1, &signals, SFD_CLOEXEC), "receive signals"));
}

// A terminal stops a process that reads from it in the background.
bool wouldBeStoppedByReading(int descriptor)
{
    const pid_t foreground = ::tcgetpgrp(descriptor);
    return foreground >= 0 && foreground != ::getpgrp();
}

} // namespace

Session::Session(GuestKernel& kernel, const LabOptions& options)
    : _kernel(kernel), _options(options), _channel(kernel.line()), _signals(passedSignals()),
      _start(std::chrono::steady_clock::now())
{
}

int Session::run()
{
    while (!_status) {
        waitForEvents();
    }
    return *_status;
}

void Session::waitForEvents()
{
    const int input = inputWanted() ? STDIN_FILENO : -1;
    std::array<pollfd, 4> events{{{_channel.descriptor(), POLLIN, 0},
                                  {_kernel.console(), POLLIN, 0},
                                  {_signals.number(), POLLIN, 0},
                                  {input, POLLIN, 0}}};
    checked(::poll(events.data(), events.size(), pollMilliseconds), "poll");
    const std::array<void (Session::*)(), 4> readers{&Session::readLine, &Session::readConsole, &Session::readSignal,
                                                     &Session::readInput};
    for (size_t index = 0; index < events.size() && !_status; ++index) {
        if (events[index].revents != 0) {
            (this->*readers[index])();
        }
    }
    if (!_status) {
        checkTime();
    }
}

void Session::readConsole()
{
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(_kernel.console(), buffer.data(), buffer.size());
    if (count <= 0) {
        giveUp(statusLabTrouble, "the kernel ended before the program did");
        return;
    }
    _consoleTail.append(buffer.data(), static_cast<size_t>(count));
    if (_consoleTail.size() > consoleTailSize) {
        _consoleTail.erase(0, _consoleTail.size() - consoleTailSize);
    }
    if (_options.verbose) {
        writeAll(STDERR_FILENO, buffer.data(), static_cast<size_t>(count));
    }
}

void Session::readLine()
{
    if (!_channel.receive()) {
        giveUp(statusLabTrouble, "the kernel closed its line before the program ended");
    }
    for (auto message = _channel.next(); message && !_status; message = _channel.next()) {
        obey(*message);
    }
}

void Session::obey(const Message& message)
{
    switch (message.kind) {
    case MessageKind::started:
        _started = true;
        break;
    case MessageKind::standardOutput:
        writeAll(STDOUT_FILENO, message.payload.data(), message.payload.size());
        break;
    case MessageKind::standardError:
        writeAll(STDERR_FILENO, message.payload.data(), message.payload.size());
        break;
    case MessageKind::inputTaken:
        _inputPending = false;
        break;
    case MessageKind::ended:
    case MessageKind::failure:
        finishWith(message.payload);
        break;
    default:
        giveUp(statusLabTrouble, "the init sent what it should not");
    }
}

void Session::finishWith(const std::string& statusAndText)
{
    size_t length = 0;
    _status = std::stoi(statusAndText, &length);
    if (length < statusAndText.size()) {
        std::cerr << "lab:" << statusAndText.substr(length) << '\n';
    }
}

bool Session::inputWanted() const
{
    return _started && _inputOpen && !_inputPending && !wouldBeStoppedByReading(STDIN_FILENO);
}

void Session::readInput()
{
    std::array<char, pieceSize> buffer;
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    _inputOpen = count > 0;
    _inputPending = _inputOpen;
    _channel.send(MessageKind::standardInput, {buffer.data(), count > 0 ? static_cast<size_t>(count) : 0});
}

void Session::readSignal()
{
    signalfd_siginfo signal{};
    checked(static_cast<int>(::read(_signals.number(), &signal, sizeof(signal))), "read a signal");
    if (_started) {
        _channel.send(MessageKind::signal, std::to_string(signal.ssi_signo));
    } else {
        _status = statusOfSignal + static_cast<int>(signal.ssi_signo);
    }
}

void Session::checkTime()
{
    const auto elapsed = std::chrono::steady_clock::now() - _start;
    if (!_started && elapsed > bootLimit) {
        giveUp(statusLabTrouble, "the kernel has not booted after " + std::to_string(bootLimit.count()) + " s");
    } else if (_options.timeoutSeconds > 0 && elapsed > std::chrono::seconds(_options.timeoutSeconds)) {
        giveUp(statusTimedOut, "ended after " + std::to_string(_options.timeoutSeconds) + " s");
    }
}

void Session::giveUp(int status, const std::string& reason)
{
    std::cerr << "lab: " << reason << '\n';
    if (!_options.verbose) {
        std::cerr << "lab: the last messages of the kernel's console:\n" << _consoleTail << '\n';
    }
    _status = status;
}

} // namespace lab
