#include "lab/target/DataBuffer.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "lab/support/SystemCall.h"

namespace lab {

size_t DataBuffer::size() const
{
    size_t size = 0;
    for (const iovec& part : _parts) {
        size += part.iov_len;
    }
    return size;
}

DataBuffer DataBuffer::part(size_t position, size_t length) const
{
    DataBuffer cut;
    for (const iovec& part : _parts) {
        const size_t skipped = std::min(position, part.iov_len);
        const size_t taken = std::min(length, part.iov_len - skipped);
        if (taken > 0) {
            cut._parts.push_back({static_cast<char*>(part.iov_base) + skipped, taken});
        }
        position -= skipped;
        length -= taken;
    }
    return cut;
}

size_t DataBuffer::put(const std::vector<uint8_t>& bytes) const
{
    size_t done = 0;
    for (const iovec& part : _parts) {
        const size_t length = std::min(part.iov_len, bytes.size() - done);
        std::memcpy(part.iov_base, bytes.data() + done, length);
        done += length;
    }
    return done;
}

void DataBuffer::readFrom(int descriptor, uint64_t position) const
{
    for (const iovec& part : _parts) {
        const auto count =
            ::pread(descriptor, part.iov_base, part.iov_len, static_cast<off_t>(position));
        checked(static_cast<int>(count), "read a medium");
        std::memset(static_cast<char*>(part.iov_base) + count, 0, part.iov_len - static_cast<size_t>(count));
        position += part.iov_len;
    }
}

void DataBuffer::writeTo(int descriptor, uint64_t position) const
{
    for (const iovec& part : _parts) {
        checked(static_cast<int>(::pwrite(descriptor, part.iov_base, part.iov_len, static_cast<off_t>(position))),
                "write a medium");
        position += part.iov_len;
    }
}

} // namespace lab
