#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "lab/support/Channel.h"
#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace lab {

/// The program that the lab was started for, and the relay between its standard streams and the launcher.
class GuestProgram {
public:
    explicit GuestProgram(Channel& channel) : _channel(channel) {}

    /// Starts the program, in a session of its own and with descriptors of its own; throws std::system_error.
    void start(Program program);

    /// Relays until the program has ended and the last byte of its output is sent. Processes that it left behind
    /// are killed then, for they could hold its output open for ever.
    /// @param atItsEnd called once it has ended and they are killed, before what they wrote is read to its end
    /// @return its exit status, or 128 plus the signal's number
    int relay(const std::function<void()>& atItsEnd);

private:
    void waitForEvents(int childSignals);
    void takeMessages();
    void obey(const Message& message);
    void takeInput(const std::string& bytes);
    void feedInput();
    bool forward(Descriptor& output, MessageKind kind);
    void reapChildren(int childSignals);
    void drainOutputs();

    Channel& _channel;
    pid_t _process = -1;
    Descriptor _input;
    Descriptor _output;
    Descriptor _error;
    std::string _pendingInput;
    std::optional<int> _status;
};

} // namespace lab
