#include "tool/Transfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <string_view>

#include "drive/KRScsiMODiskDrive.h"
#include "tool/Failure.h"
#include "tool/Interrupts.h"
#include "tool/Text.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t blockBytes = 1 << 20;

bool isThere(const std::string& path)
{
    struct stat file {};
    return lstat(path.c_str(), &file) == 0;
}

std::uint64_t continuedSum(std::uint64_t sum, const char* block, std::size_t length)
{
    constexpr std::uint64_t prime = 0x100000001b3;
    return sum * prime + std::hash<std::string_view>()(std::string_view(block, length));
}

/// A failure tells the step; this adds the file.
template <class Step>
void onFile(const std::string& path, Step step)
{
    try {
        step();
    } catch (const Failure& failure) {
        throw Failure(failure.status(), path + ": " + failure.what());
    }
}

Failure thereAlready(const fs::path& path)
{
    return {statusWrongUse, path.filename().string() + " is there already; --force replaces it"};
}

/// By its FAT short name a file is found under a name that is not its own, and must not be replaced.
void requireOwnName(const fs::path& path)
{
    const std::string name = folded(path.filename().string());
    const fs::directory_iterator entries(path.parent_path());
    if (isThere(path) && std::none_of(begin(entries), end(entries), [&name](const fs::directory_entry& entry) {
            return folded(entry.path().filename().string()) == name;
        }))
        throw Failure(statusWrongUse, path.filename().string() + " is the short name of another file");
}

/// Gives a new file or folder its name, unless that is taken.
void name(const std::string& fresh, const std::string& final)
{
    if (renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, final.c_str(), RENAME_NOREPLACE) == 0)
        return;
    if (errno == EEXIST || isThere(final))
        throw thereAlready(final);
    if (errno != EINVAL || std::rename(fresh.c_str(), final.c_str()) == -1)
        throw systemFailure(final, errno);
}

/// What has the name already changes places with the new one: there is no moment without a whole one. Where a file
/// system can't do that, a file still takes the place of a file.
void replace(const std::string& fresh, const std::string& final)
{
    requireOwnName(final);
    if (isThere(final) && renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, final.c_str(), RENAME_EXCHANGE) == 0)
        return;
    if (std::rename(fresh.c_str(), final.c_str()) == -1)
        throw systemFailure(final, errno);
}

/// A short name may lead into the temporary folder as well, which is removed in the end.
void requireOutside(const fs::path& staging, const fs::path& destination)
{
    std::error_code error;
    for (fs::path folder = destination; folder.has_relative_path(); folder = folder.parent_path()) {
        if (fs::equivalent(folder, staging, error))
            throw Failure(statusWrongUse, folder.filename().string() + " is the short name of the temporary folder");
    }
}

/// What is copied gets files of its own: two names may lead to one, and which do is up to the file system.
void requireFresh(const std::string& path)
{
    if (isThere(path))
        throw Failure(statusWrongUse, "has the same name as another one there");
}

} // namespace

Transfer::Transfer(const TransferTarget& target, Progress& progress)
    : _target(target), _progress(progress), _buffer(blockBytes)
{
}

void Transfer::run(std::vector<CopySource>& sources)
{
    try {
        requireFreeNames(sources);
        requireSpace(sources);
        requireStorableNames(sources);
        copyAll(sources);
    } catch (const std::exception& failure) {
        const auto* const own = dynamic_cast<const Failure*>(&failure);
        throw Failure(own != nullptr ? own->status() : statusDeviceFailed,
                      failure.what() + withdraw() + "\n" + std::to_string(_finished) + " of " +
                          std::to_string(sources.size()) + " done");
    }
}

void Transfer::requireFreeNames(const std::vector<CopySource>& sources) const
{
    fs::path folder = _target.folder;
    while (!isThere(folder))
        folder = folder.parent_path();
    if (!fs::is_directory(folder))
        throw Failure(statusWrongUse, folder.string() + " is not a folder");
    std::set<std::string> names;
    for (const CopySource& source : sources) {
        const std::string path = _target.folder + "/" + source.name;
        if (!names.insert(source.name).second)
            throw Failure(statusWrongUse, "two are named " + source.name);
        if (!isThere(path))
            continue;
        if (!_target.force)
            throw thereAlready(path);
        requireOwnName(path);
    }
}

void Transfer::requireSpace(const std::vector<CopySource>& sources) const
{
    struct statvfs space {};
    if (fstatvfs(_target.root, &space) == -1)
        throw systemFailure(_target.folder, errno);
    const std::uint64_t needed = bytesOnMedium(sources, space.f_frsize);
    if (needed > _target.available)
        throw Failure(statusDeviceFailed, "too little space: " + sizeText(needed) + " needed, " +
                                              sizeText(_target.available) + " available");
}

/// Whether a name beyond ASCII can be stored is up to the mount's character set; the kernel is asked before any data
/// are written.
void Transfer::requireStorableNames(const std::vector<CopySource>& sources)
{
    std::set<std::string> names;
    for (const CopySource& source : sources) {
        for (const CopyEntry& entry : source.entries)
            names.insert(entry.name());
    }
    makeStaging();
    requireOutside(_staging, _target.folder);
    for (const std::string& name : names) {
        if (std::all_of(name.begin(), name.end(), [](char character) { return (character & 0x80) == 0; }))
            continue;
        const std::string path = _staging + "/" + name;
        onFile(name, [&] { File(_target.drive, path, File::writing); });
        unlink(path.c_str());
    }
    fs::remove_all(_staging);
}

/// Before each group, after which it is removed: a medium that turns write-protected later keeps none.
void Transfer::makeStaging()
{
    _staging = _target.staging;
    if (_staging.back() != 'X')
        makeFolder(_target.drive, _staging);
    else if (mkdtemp(_staging.data()) == nullptr)
        throw systemFailure(_staging, errno);
}

/// One by one, small SOURCEs would take a flush each; a large one must not keep those before it from their names.
void Transfer::copyAll(std::vector<CopySource>& sources)
{
    constexpr std::uint64_t groupBytes = 64 << 20;
    for (std::size_t next = 0; next < sources.size();) {
        Group group;
        std::uint64_t bytes = 0;
        do {
            bytes += sources[next].bytes();
            group.push_back(&sources[next++]);
        } while (next < sources.size() && bytes + sources[next].bytes() <= groupBytes);
        runGroup(group);
    }
}

void Transfer::runGroup(const Group& group)
{
    makeStaging();
    _progress.begin("writing");
    for (CopySource* const source : group)
        copy(*source);
    _progress.begin("flushing");
    flush();
    if (_target.verify)
        _progress.begin("comparing");
    for (const CopySource* const source : group) {
        if (_target.verify)
            compare(*source);
    }
    for (const CopySource* const source : group)
        publish(*source);
    fs::remove_all(_staging);
    flush();
}

void Transfer::copy(CopySource& source)
{
    for (CopyEntry& entry : source.entries) {
        const std::string path = source.pathOf(entry);
        const std::string destination = _staging + "/" + entry.path;
        stopIfInterrupted();
        onFile(path, [&] {
            requireFresh(destination);
            if (entry.folder)
                makeFolder(_target.drive, destination);
            else
                copyFile(path, destination, entry);
        });
    }
}

template <class Consume>
void Transfer::forEachBlock(File& file, std::uint64_t bytes, Consume consume)
{
    std::uint64_t done = 0;
    for (bool atEnd = false; !atEnd;) {
        const std::uint64_t left = bytes - done;
        const std::size_t length = std::min<std::uint64_t>(blockBytes, left + 1); // one more tells of a longer file
        const std::size_t count = file.read(_buffer.data(), length);
        if (count > left || (count == 0 && left > 0))
            throw Failure(statusDeviceFailed, "has another size than before");
        consume(count);
        done += count;
        atEnd = done == bytes && count < length;
        _progress.advance(count);
        if (!atEnd)
            stopIfInterrupted();
    }
}

void Transfer::copyFile(const std::string& origin, const std::string& destination, CopyEntry& entry)
{
    File source(_target.drive, origin, File::reading);
    File target(_target.drive, destination, File::writing);
    forEachBlock(source, entry.bytes, [&](std::size_t count) {
        target.write(_buffer.data(), count);
        if (_target.verify)
            entry.sum = continuedSum(entry.sum, _buffer.data(), count);
    });
}

void Transfer::compare(const CopySource& source)
{
    for (const CopyEntry& entry : source.entries) {
        if (entry.folder)
            continue;
        stopIfInterrupted();
        onFile("copy of " + source.pathOf(entry), [&] {
            File file(_target.drive, _staging + "/" + entry.path, File::reading);
            file.dropCache();
            std::uint64_t sum = 0;
            forEachBlock(file, entry.bytes, [&](std::size_t count) { sum = continuedSum(sum, _buffer.data(), count); });
            if (sum != entry.sum)
                throw Failure(statusDeviceFailed, "what is read back differs from what was written");
        });
    }
}

void Transfer::publish(const CopySource& source)
{
    stopIfInterrupted();
    makeDestination();
    (_target.force ? replace : name)(_staging + "/" + source.name, _target.folder + "/" + source.name);
    ++_finished;
}

void Transfer::makeDestination()
{
    if (isThere(_target.folder))
        return;
    for (fs::path folder = _target.folder; !isThere(folder); folder = folder.parent_path())
        _newFolders.push_back(folder);
    makeFolder(_target.drive, _target.folder);
}

void Transfer::flush() const
{
    if (syncfs(_target.root) == -1)
        throw systemFailure("flush", errno);
}

/// Takes back what was begun. @return what to add to the text of the failure that ends the transfer.
std::string Transfer::withdraw()
{
    try {
        fs::remove_all(_staging);
        for (const std::string& folder : _newFolders)
            rmdir(folder.c_str()); // fails where a SOURCE is in it already
    } catch (const std::exception& failure) {
        return std::string("\nwhat was begun could not be removed: ") + failure.what();
    }
    return {};
}

} // namespace tool
