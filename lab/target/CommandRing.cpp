#include "lab/target/CommandRing.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "lab/drives/Sysfs.h"
#include "lab/support/SystemCall.h"

namespace lab {

// The memory's layout, which the kernel's <linux/target_core_user.h> describes in no valid C++.

namespace {

constexpr size_t ringStartPosition = 4;
constexpr size_t ringLengthPosition = 8;
constexpr size_t headPosition = 12;
constexpr size_t tailPosition = 64;

constexpr uint32_t operationMask = 7;
constexpr uint32_t operationCommand = 1;
constexpr uint32_t operationAbort = 2;
constexpr uint8_t transferLengthIsValid = 2;
constexpr size_t senseLength = 96;

struct Request {
    uint32_t parts;
    uint32_t bidirectionalParts;
    uint32_t protectionParts;
    uint64_t commandPosition;
    uint64_t unused[2];
};

struct Response {
    uint8_t status;
    uint8_t unused[3];
    uint32_t transferLength;
    uint8_t sense[senseLength];
};

struct Abortion {
    uint8_t kind;
    uint8_t unused[3];
    uint32_t commands;
    uint64_t alsoUnused[2];
};

} // namespace

struct CommandRing::Header {
    uint32_t lengthAndOperation;
    uint16_t number;
    uint8_t kernelFlags;
    uint8_t flags;

    uint32_t operation() const { return lengthAndOperation & operationMask; }
    uint32_t length() const { return lengthAndOperation & ~operationMask; }

    /// What follows this header.
    template <typename Content>
    Content& content()
    {
        return *reinterpret_cast<Content*>(this + 1);
    }
    template <typename Content>
    const Content& content() const
    {
        return *reinterpret_cast<const Content*>(this + 1);
    }
};

template <typename Value>
Value& CommandRing::at(size_t position) const
{
    return *reinterpret_cast<Value*>(_memory + position);
}

CommandRing::CommandRing(const std::string& name)
    : _device(openFile("/dev/" + name, O_RDWR)),
      _size(std::stoul(readAttribute("/sys/class/uio/" + name + "/maps/map0/size"), nullptr, 16))
{
    void* const memory = ::mmap(nullptr, _size, PROT_READ | PROT_WRITE, MAP_SHARED, _device.number(), 0);
    checked(memory == MAP_FAILED ? -1 : 0, "map " + name);
    _memory = static_cast<char*>(memory);
    _start = at<uint32_t>(ringStartPosition);
    _length = at<uint32_t>(ringLengthPosition);
    _next = at<uint32_t>(tailPosition);
}

CommandRing::~CommandRing()
{
    ::munmap(_memory, _size);
}

CommandRing::Header& CommandRing::headerAt(uint32_t position) const
{
    return at<Header>(_start + position);
}

uint32_t CommandRing::advanced(uint32_t position, const Header& header) const
{
    return (position + header.length()) % _length;
}

bool CommandRing::acknowledge() const
{
    uint32_t events = 0;
    return ::read(_device.number(), &events, sizeof(events)) == sizeof(events);
}

// Everything is copied, for the answer to another command may overwrite the entry before this one is answered.
Arrival CommandRing::commandAt(const Header& header) const
{
    const Request& request = header.content<Request>();
    const iovec* const parts = reinterpret_cast<const iovec*>(&request + 1);
    std::vector<iovec> data(parts, parts + request.parts);
    for (iovec& part : data) {
        part.iov_base = _memory + reinterpret_cast<size_t>(part.iov_base);
    }
    Arrival arrival{false, {header.number}, {CommandBytes(), DataBuffer(std::move(data))}};
    const uint8_t* const bytes = &at<uint8_t>(request.commandPosition);
    std::copy_n(bytes, std::min(commandLength(bytes[0]), arrival.command.bytes.size()), arrival.command.bytes.begin());
    return arrival;
}

std::optional<Arrival> CommandRing::next()
{
    while (_next != __atomic_load_n(&at<uint32_t>(headPosition), __ATOMIC_ACQUIRE)) {
        const Header& header = headerAt(_next);
        _next = advanced(_next, header);
        if (header.operation() == operationCommand) {
            return commandAt(header);
        }
        if (header.operation() == operationAbort) {
            const Abortion& abortion = header.content<Abortion>();
            const auto* const numbers = reinterpret_cast<const uint16_t*>(&abortion + 1);
            return Arrival{true, {numbers, numbers + abortion.commands}, ScsiCommand()};
        }
    }
    return std::nullopt;
}

// Answers stand in the places of commands alone.
void CommandRing::passOver()
{
    uint32_t& tail = at<uint32_t>(tailPosition);
    while (headerAt(tail).operation() != operationCommand) {
        tail = advanced(tail, headerAt(tail));
    }
}

void CommandRing::complete(uint16_t number, const ScsiAnswer& answer, const std::vector<uint8_t>& sense)
{
    passOver();
    uint32_t& tail = at<uint32_t>(tailPosition);
    Header& header = headerAt(tail);
    const uint32_t after = advanced(tail, header);
    header.number = number;
    header.flags = transferLengthIsValid; // without which a medium error would pass for data that were read
    Response& response = header.content<Response>();
    std::memset(&response, 0, sizeof(response));
    response.status = answer.status;
    response.transferLength = static_cast<uint32_t>(answer.transferred);
    std::copy_n(sense.begin(), std::min(sense.size(), senseLength), response.sense);
    __atomic_store_n(&tail, after, __ATOMIC_RELEASE);
    const uint32_t event = 0;
    checked(static_cast<int>(::write(_device.number(), &event, sizeof(event))), "answer a command");
}

} // namespace lab
