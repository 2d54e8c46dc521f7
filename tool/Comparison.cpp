#include "tool/Comparison.h"

#include "tool/EntryFailure.h"

namespace tool {

namespace {

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

bool isThere(const Folder& folder, const CopyEntry& entry)
{
    const auto found = folder.look(entry.name);
    return found && (S_ISDIR(found->st_mode) ? entry.folder : !entry.folder) &&
           (entry.folder || static_cast<std::uint64_t>(found->st_size) == entry.bytes);
}

void requireNames(const CopySource& source, const Folder& folder)
{
    EntryFolders folders(source, folder);
    for (std::size_t i = 0; i < source.entries.size(); ++i)
        onEntry(source, i, "copy of ", [&] {
            if (!isThere(folders.of(i), source.entries[i]))
                throw Failure(statusDeviceFailed, "is not there after a fresh mount");
        });
}

} // namespace

void Comparison::compare(const std::vector<CopySource*>& group)
{
    onMedium([&] {
        _comparedNames = _destination.renew();
        for (const CopySource* const source : group)
            compareSource(*source);
    });
}

void Comparison::compareSource(const CopySource& source)
{
    EntryFolders folders(source, _destination.staging());
    for (std::size_t i = 0; i < source.entries.size(); ++i) {
        const CopyEntry& entry = source.entries[i];
        if (entry.place != CopyEntry::Place::skipped)
            onEntry(source, i, "copy of ", [&] {
                if (entry.folder)
                    folders.of(i).folder(entry.name);
                else
                    _copier.compare(folders.of(i), entry);
            });
    }
}

void Comparison::compareNames(const std::vector<CopySource>& sources, std::size_t& counted)
{
    if (!_comparedNames)
        return;
    counted = 0;
    onMedium([&] {
        _comparedNames = _destination.renew();
        const Folder* const folder = _destination.folder();
        if (folder == nullptr)
            throw Failure(statusDeviceFailed, "what was copied is not there after a fresh mount");
        for (const CopySource& source : sources) {
            requireNames(source, *folder);
            ++counted;
        }
    });
}

} // namespace tool
