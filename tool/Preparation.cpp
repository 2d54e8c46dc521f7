#include "tool/Preparation.h"

#include <algorithm>
#include <set>
#include <string>

#include "tool/EntryFailure.h"
#include "tool/Existing.h"
#include "tool/Problems.h"
#include "tool/Text.h"

namespace tool {

namespace {

void settleNames(std::vector<CopySource>& sources, Destination& destination, const TransferRules& rules)
{
    Problems obstacles;
    std::set<std::string> names;
    Existing existing({rules.force, rules.skipExisting}, obstacles);
    const Folder* const folder = destination.folder();
    for (CopySource& source : sources) {
        if (!names.insert(source.name()).second)
            obstacles.add(Failure(statusWrongUse, "two are named " + source.name()));
        if (folder != nullptr)
            existing.settle(source, *folder);
    }
    obstacles.throwIfAny();
}

void requireSpace(const std::vector<CopySource>& sources, const Destination& destination, bool force)
{
    const std::uint64_t needed = bytesOnMedium(sources, destination.blockBytes());
    const std::uint64_t available = destination.availableBytes();
    if (needed > available)
        throw Failure(statusDeviceFailed, "too little space: " + sizeText(needed) + " needed, " + sizeText(available) +
                                              " available" +
                                              (force ? "; what is replaced stays until the copy is whole" : ""));
}

bool isAscii(const std::string& name)
{
    return std::all_of(name.begin(), name.end(), [](char character) { return (character & 0x80) == 0; });
}

/// Whether a name beyond ASCII can be stored is up to the mount's character set; the kernel is asked before any data
/// are written.
void requireStorableNames(const std::vector<CopySource>& sources, Destination& destination)
{
    Problems obstacles;
    destination.requireSameMedium();
    destination.makeStaging();
    for (const CopySource& source : sources) {
        for (std::size_t i = 0; i < source.entries.size(); ++i) {
            const std::string& name = source.entries[i].name;
            if (isAscii(name))
                continue;
            obstacles.gather([&] {
                onEntry(source, i, "", [&] { destination.newFile(destination.staging(), name); });
                destination.staging().remove(name);
            });
        }
    }
    destination.removeStaging();
    obstacles.throwIfAny();
}

} // namespace

void prepareTransfer(std::vector<CopySource>& sources, Destination& destination, const TransferRules& rules)
{
    settleNames(sources, destination, rules);
    requireSpace(sources, destination, rules.force);
    if (destination.isOnMedium())
        requireStorableNames(sources, destination);
}

} // namespace tool
