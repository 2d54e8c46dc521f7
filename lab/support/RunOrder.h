#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

/// What the launcher hands to the init: its own command line, which the init reads again, and the caller's
/// surroundings that the program shall find inside.
struct RunOrder {
    std::vector<std::string> arguments;
    std::vector<std::string> environment; ///< each "NAME=value"
    std::string workingDirectory;

    std::string toBytes() const;
    static RunOrder fromBytes(std::string_view bytes);
};

} // namespace lab
