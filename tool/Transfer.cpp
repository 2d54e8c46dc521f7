#include "tool/Transfer.h"
#include "tool/Interrupts.h"
#include "tool/Progress.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tool/EntryFailure.h"
#include "tool/Placing.h"
#include "tool/Preparation.h"

namespace tool {

using Place = CopyEntry::Place;

Transfer::Transfer(Destination& destination, const TransferRules& rules, Problems& problems, Progress& progress)
    : _destination(destination), _rules(rules), _problems(problems), _progress(progress),
      _copier(destination, rules, progress), _comparison(destination, _copier)
{
}

void Transfer::run(std::vector<CopySource>& sources)
{
    try {
        prepareTransfer(sources, _destination, _rules);
        _progress.expect(bytesOf(sources) * (_rules.verify ? 2 : 1));
        _begun = true;
        copyAll(sources);
        _comparison.compareNames(sources, _finished);
    } catch (const std::exception& failure) {
        const auto* const own = dynamic_cast<const Failure*>(&failure);
        throw Failure(own != nullptr ? own->status() : statusDeviceFailed,
                      failure.what() + withdraw() + undone(sources));
    }
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
    _copier.forget();
    _progress.begin("flushing");
    _destination.flush();
    if (_rules.verify) {
        _progress.begin("comparing");
        _comparison.compare(group);
    }
    _destination.requireSameMedium();
    for (const CopySource* const source : group)
        publish(*source);
    _destination.flush(); // before what was replaced goes
    _destination.removeStaging();
    _destination.flush();
}

void Transfer::copy(CopySource& source)
{
    EntryFolders origins(source, *source.folder);
    EntryFolders targets(source, _destination.staging());
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        if (source.entries[i].place == Place::skipped)
            continue;
        try {
            onEntry(source, i, "", [&] { copyEntry(source, i, origins, targets); });
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

void Transfer::copyEntry(CopySource& source, std::size_t index, EntryFolders& origins, EntryFolders& targets)
{
    constexpr mode_t forAll = 0777; // under the umask
    CopyEntry& entry = source.entries[index];
    const Folder& folder = targets.of(index);
    if (entry.folder) {
        if (folder.look(entry.name))
            throw Failure(statusWrongUse, "has the same name as another one there");
        return folder.makeFolder(entry.name, forAll);
    }
    const Folder& origin = onSource([&]() -> const Folder& { return origins.of(index); });
    _copier.copy(origin, folder, entry);
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

/// Takes back what was begun. @return what to add to the text of the failure that ends the transfer.
std::string Transfer::withdraw()
{
    _copier.forget();
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
