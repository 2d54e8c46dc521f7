#pragma once

#include <string>
#include <vector>

#include "tool/Comparison.h"
#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/FileCopier.h"
#include "tool/Output.h"
#include "tool/Problems.h"
#include "tool/Progress.h"
#include "tool/TransferRules.h"

namespace tool {

/// Copies SOURCEs so that under a final name there is always a whole copy.
///
/// What is written goes into a temporary folder, is flushed and compared, and only then renamed. Whatever ends the
/// transfer early, the SOURCEs that were renamed stay and nothing else does.
class Transfer {
public:
    /// @param problems gets what can't be read, where the transfer goes on.
    Transfer(Destination& destination, const TransferRules& rules, Problems& problems, Progress& progress);

    /// @throws Failure, which tells which SOURCEs are not there, too.
    void run(std::vector<CopySource>& sources);

    bool comparedNames() const { return _comparison.comparedNames(); }

private:
    using Group = std::vector<CopySource*>;

    void copyAll(std::vector<CopySource>& sources);
    void runGroup(const Group& group);
    void copy(CopySource& source);
    void copyEntry(CopySource& source, std::size_t index, EntryFolders& origins, EntryFolders& targets);
    void keepFolderTimes(const CopySource& source);
    void publish(const CopySource& source);
    std::string withdraw();
    std::string undone(const std::vector<CopySource>& sources) const;

    Destination& _destination;
    TransferRules _rules;
    Problems& _problems;
    Progress& _progress;
    FileCopier _copier;
    Comparison _comparison;
    bool _begun = false;
    std::size_t _finished = 0;
};

} // namespace tool
