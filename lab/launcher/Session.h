#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "lab/launcher/GuestKernel.h"
#include "lab/launcher/LabOptions.h"
#include "lab/support/Channel.h"

namespace lab {

/// One run: follows a booting kernel until the program in it has ended, and is the program's connection to the
/// caller: its input, its outputs, the signals for it.
class Session {
public:
    Session(GuestKernel& kernel, const LabOptions& options);

    /// @return the exit status for the caller
    int run();

private:
    void waitForEvents();
    void readConsole();
    void readLine();
    void obey(const Message& message);
    void finishWith(const std::string& statusAndText);
    void readInput();
    void readSignal();
    void checkTime();
    void giveUp(int status, const std::string& reason);
    bool inputWanted() const;

    GuestKernel& _kernel;
    const LabOptions& _options;
    Channel _channel;
    Descriptor _signals;
    std::chrono::steady_clock::time_point _start;
    std::string _consoleTail;
    bool _started = false;
    bool _inputOpen = true;
    bool _inputPending = false; // sent, but not yet taken by the program
    std::optional<int> _status;
};

} // namespace lab
