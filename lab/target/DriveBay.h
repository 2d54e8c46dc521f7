#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "lab/target/Drive.h"

namespace lab {

/// All drives of the lab, moved and changed by requests in words. For several threads; a request that waits for the
/// kernel holds up no other than those for the same drive that plug or unplug.
class DriveBay {
public:
    /// Gets the kernel ready; throws std::system_error.
    DriveBay();

    /// Does what a request says, a verb and its words, and returns what there is to tell. Throws std::exception's
    /// children with what was wrong. The verbs are listed in lab/README.md.
    std::string obey(const std::string& request);

    /// Ends all faults of all drives, so that nothing waits for an answer any more.
    void healAll();

private:
    using Words = std::vector<std::string>;

    std::string add(const Words& words);
    void removeAll();
    std::pair<std::shared_ptr<Drive>, size_t> placeOf(const std::string& address);

    CommandRecords _records;
    std::mutex _mutex; ///< of the drives' list
    std::map<std::string, std::shared_ptr<Drive>> _drives;
    int _next = 1;
};

} // namespace lab
