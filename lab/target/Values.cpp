#include "lab/target/Values.h"

#include <charconv>
#include <sstream>
#include <stdexcept>

namespace lab {

namespace {

std::vector<std::string> splitAt(char separator, const std::string& text)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

} // namespace

std::vector<std::pair<std::string, std::string>> toPairs(const std::string& text)
{
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const std::string& setting : splitAt(',', text)) {
        const size_t equals = setting.find('=');
        pairs.emplace_back(setting.substr(0, equals), equals == std::string::npos ? "" : setting.substr(equals + 1));
    }
    return pairs;
}

uint64_t toNumber(const std::string& text, int base)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end) {
        throw std::invalid_argument("'" + text + "' is no number");
    }
    return number;
}

bool toSwitch(const std::string& text)
{
    if (!text.empty() && text != "yes" && text != "no") {
        throw std::invalid_argument("'" + text + "' is neither yes nor no");
    }
    return text != "no";
}

BlockRange toRange(const std::string& text)
{
    if (text == "all") {
        return {0, UINT64_MAX};
    }
    const size_t plus = text.find('+');
    return {toNumber(text.substr(0, plus)), plus == std::string::npos ? 1 : toNumber(text.substr(plus + 1))};
}

Sense toSense(const std::string& text)
{
    const std::vector<std::string> parts = splitAt('/', text);
    if (parts.size() != 3) {
        throw std::invalid_argument("'" + text + "' is no sense, such as 6/28/00");
    }
    const auto byte = [&parts](size_t index) { return static_cast<uint8_t>(toNumber(parts[index], 16)); };
    return {byte(0), byte(1), byte(2), {}};
}

} // namespace lab
