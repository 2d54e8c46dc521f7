#pragma once

#include <string>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/Output.h"
#include "tool/Problems.h"
#include "tool/Progress.h"
#include "tool/WriteBack.h"

class KRScsiMODiskDrive;

namespace tool {

/// How a transfer goes.
struct TransferRules {
    bool force = false;        ///< files take the place of files, and folders are merged
    bool skipExisting = false; ///< what is there with the same size and time is left, and folders are merged
    bool verify = false;       ///< what was written to a medium is read from it anew and compared
    bool keepTimes = false;
    bool goOn = false;                   ///< what can't be read becomes a problem, and the rest is copied
    KRScsiMODiskDrive* source = nullptr; ///< through which the SOURCEs are read; null: they are the machine's
};

/// Copies SOURCEs so that under a final name there is always a whole copy.
///
/// What is written goes into a temporary folder, is flushed and compared, and only then renamed. Whatever ends the
/// transfer early, the SOURCEs that were renamed stay and nothing else does.
class Transfer {
public:
    Transfer(Destination& destination, const TransferRules& rules, Problems& problems, Progress& progress);

    /// @throws Failure, which tells which SOURCEs are not there, too.
    void run(std::vector<CopySource>& sources);

    /// Whether names were read anew, too, by what was compared.
    bool comparedNames() const { return _comparedNames; }

private:
    using Group = std::vector<CopySource*>;

    void prepare(std::vector<CopySource>& sources);
    void requireSpace(const std::vector<CopySource>& sources) const;
    void requireStorableNames(const std::vector<CopySource>& sources);
    void copyAll(std::vector<CopySource>& sources);
    void runGroup(const Group& group);
    void copy(CopySource& source);
    void copyEntry(CopySource& source, std::size_t index, EntryFolders& from, EntryFolders& to);
    void copyFile(File& source, const Folder& folder, CopyEntry& entry);
    void keepFolderTimes(const CopySource& source);
    void compareGroup(const Group& group);
    void compare(const CopySource& source);
    void compareFile(const Folder& folder, const CopyEntry& entry);
    void publish(const CopySource& source);
    void requireNames(const std::vector<CopySource>& sources);
    std::string withdraw();
    std::string undone(const std::vector<CopySource>& sources) const;

    template <class Consume>
    void forEachBlock(File& file, std::uint64_t bytes, Consume consume);

    Destination& _destination;
    TransferRules _rules;
    Problems& _problems;
    Progress& _progress;
    WriteBack _writeBack;
    std::vector<char> _buffer;
    bool _begun = false;
    std::size_t _finished = 0;
    bool _comparedNames = false;
};

} // namespace tool
