#include "lab/target/DataBuffer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

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

// As few calls as can be, for they are slow in this kernel.
void DataBuffer::readFrom(int descriptor, uint64_t position) const
{
    const ssize_t count =
        ::preadv(descriptor, _parts.data(), static_cast<int>(_parts.size()), static_cast<off_t>(position));
    checked(count < 0 ? -1 : 0, "read a medium");
    const size_t missing = size() - static_cast<size_t>(count);
    part(static_cast<size_t>(count), missing).put(std::vector<uint8_t>(missing));
}

void DataBuffer::writeTo(int descriptor, uint64_t position) const
{
    const ssize_t count =
        ::pwritev(descriptor, _parts.data(), static_cast<int>(_parts.size()), static_cast<off_t>(position));
    if (count != static_cast<ssize_t>(size())) {
        throw std::system_error(count < 0 ? errno : ENOSPC, std::generic_category(), "write a medium");
    }
}

} // namespace lab
