#pragma once

#include <string>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Files.h"
#include "tool/Progress.h"

namespace tool {

/// Where and how a transfer writes.
struct TransferTarget {
    KRScsiMODiskDrive& drive; ///< through which files are read and written
    int root;                 ///< a descriptor on the file system that is written to
    std::string staging;      ///< the temporary folder, on the same file system; "XXXXXX" at its end becomes unique
    std::string folder;       ///< the destination, made when the first SOURCE is ready
    std::uint64_t available;  ///< bytes
    bool verify;              ///< read everything back and compare
    bool force;               ///< replace what has the name of a SOURCE already
};

/// Copies SOURCEs so that under a final name there is always a whole copy.
///
/// What is written goes into a temporary folder, is flushed and compared, and only then renamed. Whatever ends the
/// transfer early, the SOURCEs that were renamed stay and nothing else does.
class Transfer {
public:
    Transfer(const TransferTarget& target, Progress& progress);

    /// @throws Failure, which tells how many SOURCEs are there, too.
    void run(std::vector<CopySource>& sources);

private:
    using Group = std::vector<CopySource*>;

    void requireFreeNames(const std::vector<CopySource>& sources) const;
    void requireSpace(const std::vector<CopySource>& sources) const;
    void requireStorableNames(const std::vector<CopySource>& sources);
    void makeStaging();
    void copyAll(std::vector<CopySource>& sources);
    void runGroup(const Group& group);
    void copy(CopySource& source);
    void copyFile(const std::string& origin, const std::string& destination, CopyEntry& entry);
    void compare(const CopySource& source);
    void publish(const CopySource& source);
    void makeDestination();
    void flush() const;
    std::string withdraw();

    template <class Consume>
    void forEachBlock(File& file, std::uint64_t bytes, Consume consume);

    TransferTarget _target;
    Progress& _progress;
    std::string _staging;                 ///< as it was made
    std::vector<std::string> _newFolders; ///< of the destination, the innermost first
    std::vector<char> _buffer;
    std::size_t _finished = 0;
};

} // namespace tool
