#pragma once

#include <array>
#include <cstddef>

/// Internal to the platform library: the formats of sense data (SPC).
#pragma GCC visibility push(hidden)
namespace scsi {

/// Sense data with room for the longest that SPC allows.
using SenseBytes = std::array<unsigned char, 252>;

/// Brings sense data into fixed format, the only one that callers read (key in byte 2, ASC and ASCQ in 12 and 13).
///
/// Fixed-format data passes as it came. Of descriptor-format data everything is carried over that has a place in
/// fixed format; information that needs more than four bytes has none. Data of no known format gives zeros.
///
/// @param sense, length any bytes, as many as the device sent.
SenseBytes toFixedFormat(const unsigned char* sense, std::size_t length);

/// True where fixed-format sense data has this key and is about the command that it came with, rather than about an
/// earlier one (deferred).
bool isCurrent(const SenseBytes& fixed, unsigned char senseKey);

} // namespace scsi
#pragma GCC visibility pop
