#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Descriptor.h"
#include "tool/Folder.h"
#include "tool/Problems.h"

namespace tool {

/// Walks SOURCEs, within limits that a damaged medium or a hostile one does not get beyond: 64 folders in one another,
/// 1,000,000 names, 160 MB for them. What can't be copied becomes a problem and is left out.
class TreeWalk {
public:
    enum class On {
        machine, ///< what can't be opened is a problem
        medium,  ///< so are names that are there twice and folders that lead to the same; files are opened later
    };

    TreeWalk(On side, Problems& problems) : _side(side), _problems(problems) {}

    /// Adds a SOURCE. @param path under which it is told of.
    void add(std::vector<CopySource>& sources, std::shared_ptr<const Folder> folder, const std::string& name,
             const std::string& path);

    /// The names in a folder, without those that are there twice. @param path under which the folder is told of.
    std::vector<std::string> names(const Folder& folder, const std::string& path);

private:
    struct Place {
        const Folder& folder;
        std::uint32_t parent;
        int level;
    };

    void addEntry(const Place& place, std::string name, const std::string& path);
    void addBelow(const Folder& folder, std::uint32_t index, int level, const std::string& path);
    void leaveOutDoubled(std::vector<std::string>& names, const std::string& path);
    bool isCrossed(const Folder& folder, const std::vector<std::string>& names);
    bool isRoomFor(std::size_t nameBytes);
    void problem(ExitStatus status, const std::string& text) { _problems.add(Failure(status, text)); }

    On _side;
    Problems& _problems;
    CopySource* _source = nullptr;
    std::size_t _names = 0;
    std::size_t _bytes = 0;
    bool _full = false;

    using Number = std::pair<dev_t, ino_t>;
    std::deque<std::pair<Number, Descriptor>> _held; ///< of one entry each of the folders walked last
    std::set<Number> _numbers;                       ///< theirs
};

} // namespace tool
