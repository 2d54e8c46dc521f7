#include "lab/support/RunOrder.h"

#include <stdexcept>

namespace lab {

namespace {

// A list is its strings, each ended by a NUL and preceded by an 'x' that tells it from the list's end, a lone NUL.
void appendList(std::string& bytes, const std::vector<std::string>& list)
{
    for (const std::string& item : list) {
        bytes.append("x").append(item).push_back('\0');
    }
    bytes.push_back('\0');
}

std::string takeString(std::string_view& bytes)
{
    const size_t end = bytes.find('\0');
    if (end == std::string_view::npos) {
        throw std::runtime_error("the order from the launcher is cut short");
    }
    std::string taken(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
    return taken;
}

std::vector<std::string> takeList(std::string_view& bytes)
{
    std::vector<std::string> list;
    for (std::string item = takeString(bytes); !item.empty(); item = takeString(bytes)) {
        list.push_back(item.substr(1));
    }
    return list;
}

} // namespace

std::string RunOrder::toBytes() const
{
    std::string bytes;
    appendList(bytes, arguments);
    appendList(bytes, environment);
    appendList(bytes, {workingDirectory});
    return bytes;
}

RunOrder RunOrder::fromBytes(std::string_view bytes)
{
    RunOrder order;
    order.arguments = takeList(bytes);
    order.environment = takeList(bytes);
    order.workingDirectory = takeList(bytes).at(0);
    return order;
}

} // namespace lab
