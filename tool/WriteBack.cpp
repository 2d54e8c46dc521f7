#include "tool/WriteBack.h"

#include <fcntl.h>

#include <cerrno>

#include "tool/Failure.h"

namespace tool {

namespace {

/// A file system without this has nothing to wait for until its own flush.
void synchronize(int file, off64_t position, off64_t bytes, unsigned int how)
{
    if (sync_file_range(file, position, bytes, how) == 0)
        return;
    if (errno != ENOSYS && errno != EINVAL && errno != ESPIPE)
        throw systemFailure("flush", errno);
}

} // namespace

void WriteBack::wrote(const File& file, std::uint64_t position, std::uint64_t bytes)
{
    constexpr std::uint64_t mostBytes = 2 << 20;
    constexpr std::size_t mostPieces = 64;
    _pieces.push_back({Descriptor(fcntl(file.number(), F_DUPFD_CLOEXEC, 0)), static_cast<off64_t>(position),
                       static_cast<off64_t>(bytes)});
    _bytes += bytes;
    if (!_pieces.back().file.isOpen())
        throw systemFailure("open", errno);
    synchronize(file.number(), _pieces.back().position, _pieces.back().bytes, SYNC_FILE_RANGE_WRITE);
    while (_bytes > mostBytes || _pieces.size() > mostPieces)
        awaitFirst();
}

void WriteBack::awaitFirst()
{
    const Piece piece = std::move(_pieces.front());
    _pieces.pop_front();
    _bytes -= static_cast<std::uint64_t>(piece.bytes);
    synchronize(piece.file.number(), piece.position, piece.bytes,
                SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WAIT_AFTER);
}

void WriteBack::forget()
{
    _pieces.clear();
    _bytes = 0;
}

} // namespace tool
