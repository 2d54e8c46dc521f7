#include "lab/target/CommandRecords.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace lab {

namespace {

constexpr size_t kept = 50000;

std::string outcomeOf(const ScsiAnswer& answer)
{
    if (answer.isWithheld) {
        return "unanswered";
    }
    std::ostringstream text;
    text << std::hex << std::setfill('0') << std::setw(2) << unsigned{answer.status};
    if (answer.sense) {
        text << ' ' << unsigned{answer.sense->key} << '/' << std::setw(2) << unsigned{answer.sense->code} << '/'
             << std::setw(2) << unsigned{answer.sense->qualifier};
    }
    return text.str();
}

std::string hexadecimal(const CommandBytes& bytes)
{
    std::ostringstream text;
    for (size_t index = 0; index < commandLength(bytes[0]); ++index) {
        text << std::hex << std::setfill('0') << std::setw(2) << unsigned{bytes.at(index)};
    }
    return text.str();
}

} // namespace

void CommandRecords::add(const std::string& address, const CommandBytes& bytes, const ScsiAnswer& answer)
{
    const std::lock_guard<std::mutex> guard(_mutex);
    _lines.push_back(address + " " + hexadecimal(bytes) + " " + outcomeOf(answer) + "\n");
    if (_lines.size() > kept) {
        _lines.pop_front();
        ++_forgotten;
    }
}

uint64_t CommandRecords::next()
{
    const std::lock_guard<std::mutex> guard(_mutex);
    return _forgotten + _lines.size();
}

std::string CommandRecords::since(uint64_t number)
{
    const std::lock_guard<std::mutex> guard(_mutex);
    if (number < _forgotten) {
        throw std::runtime_error("the log has forgotten commands since then");
    }
    std::string text;
    for (size_t index = number - _forgotten; index < _lines.size(); ++index) {
        text += std::to_string(_forgotten + index) + " " + _lines[index];
    }
    return text;
}

} // namespace lab
