#include "lab/target/FaultScript.h"

#include <algorithm>
#include <stdexcept>

#include "lab/support/Values.h"

namespace lab {

namespace {

constexpr size_t digitsOfByte = 2;

bool isFor(const std::string& pattern, const CommandBytes& bytes)
{
    for (size_t index = 0; index * digitsOfByte < pattern.size(); ++index) {
        const std::string byte = pattern.substr(index * digitsOfByte, digitsOfByte);
        if (byte != ".." && toNumber(byte, 16) != bytes.at(index)) {
            return false;
        }
    }
    return true;
}

void checkPattern(const std::string& pattern)
{
    bool isValid = pattern.size() % digitsOfByte == 0 && pattern.size() <= digitsOfByte * CommandBytes().size();
    for (size_t position = 0; isValid && position < pattern.size(); position += digitsOfByte) {
        const std::string byte = pattern.substr(position, digitsOfByte);
        isValid = byte == ".." || byte.find_first_not_of("0123456789abcdef") == std::string::npos;
    }
    if (!isValid) {
        throw std::invalid_argument("'" + pattern + "' is no beginning of a command");
    }
}

void setKey(FaultScript::Step& step, const std::string& key, const std::string& value)
{
    if (key == "command") {
        checkPattern(value);
        step.command = value;
    } else if (key == "times") {
        step.times = value == "all" ? UINT64_MAX : std::max<uint64_t>(toNumber(value), 1);
    } else if (key == "sense") {
        step.status = scsiStatus::checkCondition;
        step.sense = toSense(value);
    } else if (key == "information" && step.sense) {
        step.sense->information = toNumber(value);
    } else if (key == "status") {
        step.status = static_cast<uint8_t>(toNumber(value, 16));
    } else if (key == "unanswered") {
        step.outcome = FaultScript::Outcome::withheld;
    } else if (key == "pass" || key == "executed") {
        step.outcome = FaultScript::Outcome::executed;
    } else {
        throw std::invalid_argument("an answer has no '" + key + "'");
    }
}

} // namespace

void FaultScript::add(const std::string& text)
{
    Step step;
    for (const auto& [key, value] : toPairs(text)) {
        setKey(step, key, value);
    }
    _steps.push_back(step);
}

std::optional<FaultScript::Step> FaultScript::take(const CommandBytes& bytes)
{
    const auto found =
        std::find_if(_steps.begin(), _steps.end(), [&bytes](const Step& step) { return isFor(step.command, bytes); });
    if (found == _steps.end()) {
        return std::nullopt;
    }
    found->times -= found->times == UINT64_MAX ? 0 : 1;
    const Step step = *found;
    if (found->times == 0) {
        _steps.erase(found);
    }
    return step;
}

} // namespace lab
