#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lab {

/// The memory that a command's data come from or go to, in pieces; it stays the caller's.
class DataBuffer {
public:
    explicit DataBuffer(std::vector<iovec> parts = {}) : _parts(std::move(parts)) {}

    size_t size() const;

    /// The part of it that begins at `position` and is no longer than `length`.
    DataBuffer part(size_t position, size_t length) const;

    /// Copies in as many of the bytes as there is room for. @return how many those were
    size_t put(const std::vector<uint8_t>& bytes) const;

    /// Fills it from a file; what lies beyond the end of the file reads as zeros. Throws std::system_error.
    void readFrom(int descriptor, uint64_t position) const;

    /// Writes it to a file; throws std::system_error.
    void writeTo(int descriptor, uint64_t position) const;

private:
    std::vector<iovec> _parts;
};

} // namespace lab
