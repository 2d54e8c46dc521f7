#include "lab/support/RunOrder.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace lab {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RunOrder, drives, results, shortSleeps, program, environment, workingDirectory)

// In the binary form, which takes the strings as they are; the readable one takes UTF-8 alone.
void RunOrder::write(const std::string& path) const
{
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    nlohmann::json::to_msgpack(*this, file);
    file.close();
}

RunOrder RunOrder::read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return nlohmann::json::from_msgpack(file).get<RunOrder>();
}

} // namespace lab
