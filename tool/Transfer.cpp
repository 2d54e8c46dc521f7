#include "tool/Transfer.h"
#include "tool/Progress.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <set>
#include <string_view>

#include "tool/Existing.h"
#include "tool/Failure.h"
#include "tool/Interrupts.h"
#include "tool/Placing.h"
#include "tool/Text.h"

namespace tool {

using Place = CopyEntry::Place;

namespace {

constexpr std::size_t blockBytes = 1 << 20;

/// The SOURCE can't be read, while the destination may well be written.
struct SourceFailure : Failure {
    explicit SourceFailure(const Failure& failure) : Failure(failure) {}
};

template <class Step>
auto onSource(Step step)
{
    try {
        return step();
    } catch (const Failure& failure) {
        throw SourceFailure(failure);
    }
}

std::uint64_t continuedSum(std::uint64_t sum, const char* block, std::size_t length)
{
    constexpr std::uint64_t prime = 0x100000001b3;
    return sum * prime + std::hash<std::string_view>()(std::string_view(block, length));
}

Failure withPath(const std::string& path, const Failure& failure)
{
    return {failure.status(), failure.status() == statusInterrupted ? failure.what() : path + ": " + failure.what()};
}

/// A failure tells the step; this adds the file.
template <class Step>
void onFile(const CopySource& source, std::size_t index, const char* before, Step step)
{
    stopIfInterrupted();
    try {
        step();
    } catch (const SourceFailure& failure) {
        throw SourceFailure(withPath(before + source.pathOf(index), failure));
    } catch (const Failure& failure) {
        throw withPath(before + source.pathOf(index), failure);
    }
}

/// What is missing on the medium after it was written is no wrong name of the user's.
template <class Step>
void onMedium(Step step)
{
    try {
        step();
    } catch (const Failure& failure) {
        if (failure.status() == statusInterrupted)
            throw;
        throw Failure(statusDeviceFailed, failure.what());
    }
}

bool isTorn(const struct stat& before, const struct stat& after)
{
    const auto differ = [](const timespec& one, const timespec& other) {
        return one.tv_sec != other.tv_sec || one.tv_nsec != other.tv_nsec;
    };
    return before.st_size != after.st_size || differ(before.st_mtim, after.st_mtim) ||
           differ(before.st_ctim, after.st_ctim) || !isSame(before, after);
}

/// @param number whether the file system gives a file the same number at any time; FAT makes numbers up.
void requirePlanned(const CopyEntry& entry, const struct stat& file, bool number)
{
    if (number && (file.st_dev != entry.device || file.st_ino != entry.number))
        throw Failure(statusDeviceFailed, "was exchanged for another file meanwhile");
    if (static_cast<std::uint64_t>(file.st_size) != entry.bytes)
        throw Failure(statusDeviceFailed, "has another size than before");
}

} // namespace

Transfer::Transfer(Destination& destination, const TransferRules& rules, Problems& problems, Progress& progress)
    : _destination(destination), _rules(rules), _problems(problems), _progress(progress), _buffer(blockBytes)
{
}

void Transfer::run(std::vector<CopySource>& sources)
{
    try {
        prepare(sources);
        _progress.expect(bytesOf(sources) * (_rules.verify ? 2 : 1));
        _begun = true;
        copyAll(sources);
        onMedium([&] { requireNames(sources); });
    } catch (const std::exception& failure) {
        const auto* const own = dynamic_cast<const Failure*>(&failure);
        throw Failure(own != nullptr ? own->status() : statusDeviceFailed,
                      failure.what() + withdraw() + undone(sources));
    }
}

/// All that can be known before anything is written.
void Transfer::prepare(std::vector<CopySource>& sources)
{
    Problems obstacles;
    std::set<std::string> names;
    Existing existing({_rules.force, _rules.skipExisting}, obstacles);
    const Folder* const folder = _destination.folder();
    for (CopySource& source : sources) {
        if (!names.insert(source.name()).second)
            obstacles.add(Failure(statusWrongUse, "two are named " + source.name()));
        if (folder != nullptr)
            existing.settle(source, *folder);
    }
    obstacles.throwIfAny();
    requireSpace(sources);
    if (_destination.isOnMedium())
        requireStorableNames(sources);
}

void Transfer::requireSpace(const std::vector<CopySource>& sources) const
{
    const std::uint64_t needed = bytesOnMedium(sources, _destination.blockBytes());
    const std::uint64_t available = _destination.availableBytes();
    if (needed > available)
        throw Failure(statusDeviceFailed, "too little space: " + sizeText(needed) + " needed, " + sizeText(available) +
                                              " available" +
                                              (_rules.force ? "; what is replaced stays until the copy is whole" : ""));
}

/// Whether a name beyond ASCII can be stored is up to the mount's character set; the kernel is asked before any data
/// are written.
void Transfer::requireStorableNames(const std::vector<CopySource>& sources)
{
    Problems obstacles;
    _destination.requireSameMedium();
    _destination.makeStaging();
    for (const CopySource& source : sources) {
        for (std::size_t i = 0; i < source.entries.size(); ++i) {
            const std::string& name = source.entries[i].name;
            if (std::all_of(name.begin(), name.end(), [](char character) { return (character & 0x80) == 0; }))
                continue;
            obstacles.gather([&] {
                onFile(source, i, "", [&] { _destination.newFile(_destination.staging(), name); });
                _destination.staging().remove(name);
            });
        }
    }
    _destination.removeStaging();
    obstacles.throwIfAny();
}

/// One by one, small SOURCEs would take a flush and a fresh mount each; a large one must not keep those before it from
/// their names.
void Transfer::copyAll(std::vector<CopySource>& sources)
{
    constexpr std::uint64_t mostBytes = 1 << 30;
    std::uint64_t groupBytes = 64 << 20;
    for (std::size_t next = 0; next < sources.size(); groupBytes = std::min(2 * groupBytes, mostBytes)) {
        Group group;
        std::uint64_t bytes = 0;
        do {
            bytes += sources[next].bytes();
            group.push_back(&sources[next++]);
        } while (next < sources.size() && bytes + sources[next].bytes() <= groupBytes);
        runGroup(group);
    }
}

/// The temporary folder is made for each: a medium that turns write-protected between two keeps none.
void Transfer::runGroup(const Group& group)
{
    _destination.requireSameMedium();
    _destination.makeStaging();
    _progress.begin("writing");
    for (CopySource* const source : group)
        copy(*source);
    _writeBack.forget();
    _progress.begin("flushing");
    _destination.flush();
    if (_rules.verify)
        onMedium([&] { compareGroup(group); });
    _destination.requireSameMedium();
    for (const CopySource* const source : group)
        publish(*source);
    _destination.flush(); // before what was replaced goes
    _destination.removeStaging();
    _destination.flush();
}

void Transfer::copy(CopySource& source)
{
    EntryFolders from(source, *source.folder);
    EntryFolders to(source, _destination.staging());
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        if (source.entries[i].place == Place::skipped)
            continue;
        try {
            onFile(source, i, "", [&] { copyEntry(source, i, from, to); });
        } catch (const SourceFailure& failure) {
            if (!_rules.goOn)
                throw;
            source.entries[i].place = Place::skipped;
            _problems.add(failure);
        }
    }
    if (_rules.keepTimes)
        keepFolderTimes(source);
}

void Transfer::copyEntry(CopySource& source, std::size_t index, EntryFolders& from, EntryFolders& to)
{
    constexpr mode_t forAll = 0777; // under the umask
    CopyEntry& entry = source.entries[index];
    const Folder& folder = to.of(index);
    if (entry.folder) {
        if (folder.look(entry.name))
            throw Failure(statusWrongUse, "has the same name as another one there");
        return folder.makeFolder(entry.name, forAll);
    }
    File file = onSource([&] { return File::reading(from.of(index), entry.name, _rules.source); });
    try {
        copyFile(file, folder, entry);
    } catch (const SourceFailure&) {
        folder.remove(entry.name);
        throw;
    }
}

void Transfer::copyFile(File& source, const Folder& folder, CopyEntry& entry)
{
    const struct stat before = onSource([&] { return source.status(); });
    onSource([&] { requirePlanned(entry, before, _rules.source == nullptr); });
    entry.modified = before.st_mtim;
    File target = _destination.newFile(folder, entry.name);
    std::uint64_t done = 0;
    forEachBlock(source, entry.bytes, [&](std::size_t count) {
        target.write(_buffer.data(), count);
        _writeBack.wrote(target, done, count);
        done += count;
        if (_rules.verify)
            entry.sum = continuedSum(entry.sum, _buffer.data(), count);
    });
    onSource([&] {
        if (isTorn(before, source.status()))
            throw Failure(statusDeviceFailed, "changed while it was copied");
    });
    if (_rules.keepTimes)
        target.setModified(entry.modified);
    target.open();
}

template <class Consume>
void Transfer::forEachBlock(File& file, std::uint64_t bytes, Consume consume)
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

/// What is made in a folder changes its time; so this comes last, and the innermost first.
void Transfer::keepFolderTimes(const CopySource& source)
{
    EntryFolders folders(source, _destination.staging());
    for (std::size_t i = source.entries.size(); i-- > 0;) {
        const CopyEntry& entry = source.entries[i];
        if (!entry.folder)
            continue;
        const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, entry.modified};
        if (utimensat(folders.of(i).number(), entry.name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == -1)
            throw systemFailure(source.pathOf(i), errno);
    }
}

void Transfer::compareGroup(const Group& group)
{
    _progress.begin("comparing");
    _comparedNames = _destination.renew();
    for (const CopySource* const source : group)
        compare(*source);
}

void Transfer::compare(const CopySource& source)
{
    EntryFolders folders(source, _destination.staging());
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        const CopyEntry& entry = source.entries[i];
        if (entry.place != Place::skipped)
            onFile(source, i, "copy of ", [&] {
                if (entry.folder)
                    folders.of(i).folder(entry.name);
                else
                    compareFile(folders.of(i), entry);
            });
    }
}

void Transfer::compareFile(const Folder& folder, const CopyEntry& entry)
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

/// A folder that is fresh takes all that it holds with it.
void Transfer::publish(const CopySource& source)
{
    stopIfInterrupted();
    EntryFolders staged(source, _destination.staging());
    EntryFolders final(source, _destination.made());
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        const CopyEntry& entry = source.entries[i];
        const bool moved = i != 0 && source.entries[entry.parent].place != Place::merged;
        if (moved || entry.place == Place::skipped || entry.place == Place::merged)
            continue;
        (entry.place == Place::replaced ? replaceFile : place)(staged.of(i), final.of(i), entry.name);
    }
    ++_finished;
}

/// The drive may have lost what came behind the comparison: the final names.
void Transfer::requireNames(const std::vector<CopySource>& sources)
{
    if (!_comparedNames || _finished == 0)
        return;
    _comparedNames = _destination.renew();
    const Folder* const folder = _destination.folder();
    _finished = 0;
    if (folder == nullptr)
        throw Failure(statusDeviceFailed, "what was copied is not there after a fresh mount");
    for (const CopySource& source : sources) {
        EntryFolders folders(source, *folder);
        for (std::size_t i = 0; i < source.entries.size(); ++i) {
            const CopyEntry& entry = source.entries[i];
            onFile(source, i, "copy of ", [&] {
                const auto found = folders.of(i).look(entry.name);
                if (!found || S_ISDIR(found->st_mode) != entry.folder ||
                    (!entry.folder && static_cast<std::uint64_t>(found->st_size) != entry.bytes))
                    throw Failure(statusDeviceFailed, "is not there after a fresh mount");
            });
        }
        ++_finished;
    }
}

/// Takes back what was begun. @return what to add to the text of the failure that ends the transfer.
std::string Transfer::withdraw()
{
    _writeBack.forget();
    try {
        _destination.withdraw();
    } catch (const std::exception& failure) {
        return std::string("\nwhat was begun could not be removed: ") + failure.what();
    }
    return {};
}

std::string Transfer::undone(const std::vector<CopySource>& sources) const
{
    constexpr std::size_t mostNamed = 1000;
    if (!_begun)
        return {};
    std::string text = "\n" + std::to_string(_finished) + " of " + std::to_string(sources.size()) + " done";
    for (std::size_t i = _finished; i < sources.size() && i < _finished + mostNamed; ++i)
        text += "\nnot done: " + sources[i].path;
    return text;
}

} // namespace tool
