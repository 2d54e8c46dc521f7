#pragma once

#include <optional>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/Problems.h"

namespace tool {

/// What may become of what is at the destination already.
struct ExistingRules {
    bool force;
    bool skipExisting;
};

/// Finds out what becomes of each entry at its destination, and what stands in the way.
class Existing {
public:
    Existing(const ExistingRules& rules, Problems& obstacles) : _rules(rules), _obstacles(obstacles) {}

    void settle(CopySource& source, const Folder& destination);

private:
    void settleEntry(CopySource& source, std::size_t index, const Folder& folder, int level);
    CopyEntry::Place placeOf(const CopyEntry& entry, const struct stat& there) const;
    bool hasOwnName(const Folder& folder, const std::string& name, int level);

    /// The names in a folder, so that 2,000 files take one look at it and not 2,000.
    struct Names {
        struct stat folder {};
        std::vector<std::size_t> hashes; ///< in order
    };

    ExistingRules _rules;
    Problems& _obstacles;
    std::vector<std::optional<Names>> _names; ///< by level, of the folder looked at last
};

/// The same time, as exactly as FAT keeps it: two seconds, from 1980 to 2107.
bool isSameTime(const timespec& source, const timespec& onMedium);

} // namespace tool
