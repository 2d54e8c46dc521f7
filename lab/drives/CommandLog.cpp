#include "lab/drives/CommandLog.h"

#include <sstream>

#include "lab/drives/DriveRequest.h"

namespace lab {

namespace {

std::vector<uint8_t> bytesOf(const std::string& hexadecimal)
{
    std::vector<uint8_t> bytes;
    for (size_t position = 0; position < hexadecimal.size(); position += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(hexadecimal.substr(position, 2), nullptr, 16)));
    }
    return bytes;
}

} // namespace

CommandLog::CommandLog() : _next(std::stoull(requestOfDrives("log"))) {}

std::vector<ArrivedCommand> CommandLog::take()
{
    std::istringstream lines(requestOfDrives("log " + std::to_string(_next)));
    std::vector<ArrivedCommand> commands;
    uint64_t number = 0;
    std::string address;
    std::string bytes;
    for (std::string answer; lines >> number >> address >> bytes && std::getline(lines >> std::ws, answer);) {
        commands.push_back({address, bytesOf(bytes), answer});
        _next = number + 1;
    }
    return commands;
}

} // namespace lab
