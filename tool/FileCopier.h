#pragma once

#include <cstdint>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/Output.h"
#include "tool/Progress.h"
#include "tool/TransferRules.h"
#include "tool/WriteBack.h"

namespace tool {

/// Copies the data of single files, and compares them.
class FileCopier {
public:
    FileCopier(const Destination& destination, const TransferRules& rules, Progress& progress);

    /// Copies a file of one folder to another; notes in the entry what it had in it.
    /// @throws SourceFailure where it can't be read or changes meanwhile; nothing is left of the copy then.
    void copy(const Folder& from, const Folder& target, CopyEntry& entry);

    /// @throws Failure unless a file has the time and the data of an entry that was copied.
    void compare(const Folder& folder, const CopyEntry& entry);

    /// Lets go of what was written, before the flush of the file system.
    void forget() { _writeBack.forget(); }

private:
    void copyData(File& source, const Folder& target, CopyEntry& entry);

    template <class Consume>
    void forEachBlock(File& file, std::uint64_t bytes, Consume consume);

    const Destination& _destination;
    TransferRules _rules;
    Progress& _progress;
    WriteBack _writeBack;
    std::vector<char> _buffer;
};

} // namespace tool
