#include "lab/support/Channel.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

constexpr size_t headerSize = 5;

std::string header(MessageKind kind, uint32_t length)
{
    std::string bytes(1, static_cast<char>(kind));
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(length >> shift));
    }
    return bytes;
}

uint32_t payloadLength(const std::string& bytes)
{
    uint32_t length = 0;
    for (unsigned index = 0; index < 4; ++index) {
        length |= uint32_t{static_cast<unsigned char>(bytes[1 + index])} << (8 * index);
    }
    return length;
}

} // namespace

void Channel::send(MessageKind kind, std::string_view payload)
{
    std::string bytes = header(kind, static_cast<uint32_t>(payload.size()));
    bytes.append(payload);
    writeAll(_descriptor, bytes.data(), bytes.size());
}

bool Channel::receive()
{
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(_descriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    checked(static_cast<int>(count), "read from the line between launcher and init");
    _received.append(buffer.data(), static_cast<size_t>(count));
    return count > 0;
}

std::optional<Message> Channel::next()
{
    if (_received.size() < headerSize || _received.size() - headerSize < payloadLength(_received)) {
        return std::nullopt;
    }
    const size_t length = payloadLength(_received);
    Message message{static_cast<MessageKind>(_received[0]), _received.substr(headerSize, length)};
    _received.erase(0, headerSize + length);
    return message;
}

} // namespace lab
