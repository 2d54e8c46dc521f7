#include "tool/FileCopier.h"

#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "tool/EntryFailure.h"
#include "tool/Existing.h"
#include "tool/Interrupts.h"
#include "tool/Progress.h"

namespace tool {

namespace {

constexpr std::size_t blockBytes = 1 << 20;

std::uint64_t continuedSum(std::uint64_t sum, const char* block, std::size_t length)
{
    constexpr std::uint64_t prime = 0x100000001b3;
    return sum * prime + std::hash<std::string_view>()(std::string_view(block, length));
}

bool differ(const timespec& one, const timespec& other)
{
    return one.tv_sec != other.tv_sec || one.tv_nsec != other.tv_nsec;
}

bool isTorn(const struct stat& before, const struct stat& after)
{
    return before.st_size != after.st_size || differ(before.st_mtim, after.st_mtim) ||
           differ(before.st_ctim, after.st_ctim) || !isSame(before, after);
}

/// FAT makes a number up whenever it looks at a file; so a number alone tells nothing.
void requirePlanned(const CopyEntry& entry, const struct stat& file)
{
    const bool other = file.st_dev != entry.device || file.st_ino != entry.number;
    if (other && differ(file.st_mtim, entry.modified))
        throw Failure(statusDeviceFailed, "was exchanged for another file meanwhile");
    if (static_cast<std::uint64_t>(file.st_size) != entry.bytes)
        throw Failure(statusDeviceFailed, "has another size than before");
}

} // namespace

FileCopier::FileCopier(const Destination& destination, const TransferRules& rules, Progress& progress)
    : _destination(destination), _rules(rules), _progress(progress), _buffer(blockBytes)
{
}

void FileCopier::copy(const Folder& from, const Folder& target, CopyEntry& entry)
{
    File file = onSource([&] { return File::reading(from, entry.name, _rules.source); });
    try {
        copyData(file, target, entry);
    } catch (const SourceFailure&) {
        target.remove(entry.name);
        throw;
    }
}

void FileCopier::copyData(File& source, const Folder& target, CopyEntry& entry)
{
    const struct stat before = onSource([&] { return source.status(); });
    onSource([&] { requirePlanned(entry, before); });
    entry.modified = before.st_mtim;
    File copy = _destination.newFile(target, entry.name);
    std::uint64_t done = 0;
    forEachBlock(source, entry.bytes, [&](std::size_t count) {
        copy.write(_buffer.data(), count);
        _writeBack.wrote(copy, done, count);
        done += count;
        if (_rules.verify)
            entry.sum = continuedSum(entry.sum, _buffer.data(), count);
    });
    onSource([&] {
        if (isTorn(before, source.status()))
            throw Failure(statusDeviceFailed, "changed while it was copied");
    });
    if (_rules.keepTimes)
        copy.setModified(entry.modified);
    copy.open();
}

template <class Consume>
void FileCopier::forEachBlock(File& file, std::uint64_t bytes, Consume consume)
{
    std::uint64_t done = 0;
    for (bool atEnd = false; !atEnd;) {
        const std::uint64_t left = bytes - done;
        const std::size_t length = std::min<std::uint64_t>(blockBytes, left + 1); // one more tells of a longer file
        const std::size_t count = onSource([&] { return file.read(_buffer.data(), length); });
        if (count > left || (count == 0 && left > 0))
            throw SourceFailure(Failure(statusDeviceFailed, "has another size than before"));
        if (count > 0)
            consume(count);
        done += count;
        atEnd = done == bytes && count < length;
        _progress.advance(count);
        if (!atEnd)
            stopIfInterrupted();
    }
}

void FileCopier::compare(const Folder& folder, const CopyEntry& entry)
{
    File file = _destination.reading(folder, entry.name);
    if (!isSameTime(entry.modified, file.status().st_mtim))
        throw Failure(statusDeviceFailed, "the time read back differs from what was written");
    file.dropCache();
    std::uint64_t sum = 0;
    forEachBlock(file, entry.bytes, [&](std::size_t count) { sum = continuedSum(sum, _buffer.data(), count); });
    if (sum != entry.sum)
        throw Failure(statusDeviceFailed, "what is read back differs from what was written");
}

} // namespace tool
