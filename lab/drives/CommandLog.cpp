#include "lab/drives/CommandLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <regex>
#include <sstream>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

std::vector<uint8_t> bytesOf(const std::string& hexadecimal)
{
    std::vector<uint8_t> bytes;
    std::istringstream words(hexadecimal);
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return bytes;
}

// A record looks like "6,812,4880000,-;sd 0:0:0:0: scsi_debug: tag=0x9, cmd 1e 00 00 00 01 00".
std::optional<ArrivedCommand> commandIn(const std::string& record)
{
    static const std::regex pattern(" (\\d+:\\d+:\\d+:\\d+): .*scsi_debug: tag=\\S+ cmd ((?:[0-9a-f]{2} ?)+)");
    std::smatch parts;
    if (!std::regex_search(record, parts, pattern)) {
        return std::nullopt;
    }
    return ArrivedCommand{parts[1], bytesOf(parts[2])};
}

} // namespace

CommandLog::CommandLog() : _log(openFile("/dev/kmsg", O_RDONLY | O_NONBLOCK))
{
    checked(static_cast<int>(::lseek(_log.number(), 0, SEEK_END)), "go to the end of the kernel's log");
}

// One read is one record. A record that the log's ring has lost in the meantime (EPIPE) would be a wrong answer.
std::vector<ArrivedCommand> CommandLog::take()
{
    std::vector<ArrivedCommand> commands;
    std::array<char, 8192> buffer;
    while (true) {
        const ssize_t count = ::read(_log.number(), buffer.data(), buffer.size());
        if (count < 0 && errno == EAGAIN) {
            return commands;
        }
        checked(static_cast<int>(count), "read the kernel's log");
        if (const auto command = commandIn(std::string(buffer.data(), static_cast<size_t>(count)))) {
            commands.push_back(*command);
        }
    }
}

} // namespace lab
