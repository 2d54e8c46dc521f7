#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lab {

/// What a message between the launcher (outside) and the init (inside) is about.
enum class MessageKind : char {
    started = 's',        ///< inside to outside: the program runs
    standardOutput = '1', ///< inside to outside: bytes of the program
    standardError = '2',  ///< inside to outside: bytes of the program
    standardInput = '0',  ///< outside to inside: bytes for the program; none at the end of the input
    inputTaken = 'i',     ///< inside to outside: the last input message was consumed, send the next
    signal = 'k',         ///< outside to inside: a signal for the program, its number in decimal
    ended = 'e',          ///< inside to outside: the program's exit status, decimal, after its last output
    failure = 'f',        ///< inside to outside: exit status, a blank and why the program was not run
};

struct Message {
    MessageKind kind;
    std::string payload;
};

/// Messages over one ordered byte stream: a kind (1 byte), a length (4 bytes, little endian) and the payload.
///
/// One stream for everything keeps the program's two outputs in the order they were written, and puts the exit
/// status after the last of them. Used by one thread. The descriptor stays the caller's.
class Channel {
public:
    explicit Channel(int descriptor) : _descriptor(descriptor) {}

    int descriptor() const { return _descriptor; }

    /// Sends one message, waiting until the stream has taken it; throws std::system_error.
    void send(MessageKind kind, std::string_view payload = {});

    /// Reads what has arrived, waiting for at least one byte; false at the stream's end.
    bool receive();

    /// The next complete message of what was received.
    std::optional<Message> next();

private:
    int _descriptor;
    std::string _received;
};

} // namespace lab
