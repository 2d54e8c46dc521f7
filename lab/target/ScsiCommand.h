#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "lab/target/DataBuffer.h"
#include "lab/target/Sense.h"

namespace lab {

using CommandBytes = std::array<uint8_t, 16>;

/// A command for a drive; shorter ones fill the rest of the bytes with zeros.
struct ScsiCommand {
    CommandBytes bytes{};
    DataBuffer data;
};

/// The number of bytes that a command with this operation code has.
size_t commandLength(uint8_t operationCode);

namespace scsiStatus {
constexpr uint8_t good = 0x00;
constexpr uint8_t checkCondition = 0x02;
constexpr uint8_t busy = 0x08;
constexpr uint8_t taskAborted = 0x40;
} // namespace scsiStatus

/// What becomes of a command.
struct ScsiAnswer {
    uint8_t status = scsiStatus::good;
    std::optional<Sense> sense;
    size_t transferred = 0; ///< bytes of the command's data that are the drive's
    std::chrono::microseconds delay{0};
    bool isWithheld = false; ///< there is no answer

    static ScsiAnswer refusal(const Sense& sense, size_t transferred = 0)
    {
        return {scsiStatus::checkCondition, sense, transferred, {}, false};
    }
};

} // namespace lab
