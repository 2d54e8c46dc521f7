#include "lab/support/Values.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

namespace lab {

std::vector<std::string> splitAt(char separator, const std::string& text)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

Pairs toPairs(const std::string& text)
{
    Pairs pairs;
    for (const std::string& setting : splitAt(',', text)) {
        const size_t equals = setting.find('=');
        pairs.emplace_back(setting.substr(0, equals), equals == std::string::npos ? "yes" : setting.substr(equals + 1));
    }
    return pairs;
}

std::string take(Pairs& pairs, const std::string& key, std::string otherwise)
{
    const auto isKey = [&](const auto& pair) { return pair.first == key; };
    for (auto found = pairs.begin(); (found = std::find_if(pairs.begin(), pairs.end(), isKey)) != pairs.end();) {
        otherwise = found->second;
        pairs.erase(found);
    }
    return otherwise;
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
    if (text != "yes" && text != "no") {
        throw std::invalid_argument("'" + text + "' is neither yes nor no");
    }
    return text == "yes";
}

} // namespace lab
