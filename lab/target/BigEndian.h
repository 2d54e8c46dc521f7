#pragma once

#include <cstddef>
#include <cstdint>

namespace lab {

/// Numbers as SCSI has them: the highest byte first.
template <typename Bytes>
uint64_t numberAt(const Bytes& bytes, size_t position, size_t length)
{
    uint64_t number = 0;
    for (size_t index = 0; index < length; ++index) {
        number = number << 8U | bytes[position + index];
    }
    return number;
}

template <typename Bytes>
void putNumber(Bytes& bytes, size_t position, size_t length, uint64_t number)
{
    for (size_t index = length; index > 0; --index, number >>= 8U) {
        bytes[position + index - 1] = static_cast<uint8_t>(number);
    }
}

} // namespace lab
