#include "lab/target/LogicalUnit.h"

#include <functional>
#include <map>
#include <stdexcept>

#include "lab/support/Values.h"
#include "lab/target/CommandTable.h"

namespace lab {

LogicalUnit::LogicalUnit(Identity identity, std::unique_ptr<Medium> medium) : _identity(std::move(identity))
{
    _tray.exchange(std::move(medium));
    powerOn();
}

void LogicalUnit::powerOn()
{
    _tray.reset();
    _attentions = {lab::powerOn};
}

std::optional<Sense> LogicalUnit::takeAttention()
{
    if (_tray.takeArrival()) {
        addAttention(mediumChanged);
    }
    if (_attentions.empty()) {
        return std::nullopt;
    }
    const Sense attention = _attentions.front();
    _attentions.pop_front();
    return attention;
}

// A script stands before everything else, so that it is followed to the command.
ScsiAnswer LogicalUnit::execute(const ScsiCommand& command)
{
    ScsiAnswer answer;
    const std::optional<FaultScript::Step> step = _faults.take(command.bytes);
    if (!step || step->outcome == FaultScript::Outcome::executed) {
        answer = interpret(command);
    }
    if (step && (step->sense || step->outcome != FaultScript::Outcome::executed)) {
        answer.status = step->status;
        answer.sense = step->sense;
        answer.isWithheld = step->outcome == FaultScript::Outcome::withheld;
    }
    answer.delay += timeFor(answer);
    return answer;
}

ScsiAnswer LogicalUnit::interpret(const ScsiCommand& command)
{
    const CommandEntry* const entry = commandEntry(command.bytes[0]);
    if (entry == nullptr) {
        return ScsiAnswer::refusal(invalidOperationCode);
    }
    if (!entry->passesAttentions) {
        if (const auto attention = takeAttention()) {
            return ScsiAnswer::refusal(*attention);
        }
    }
    if (entry->needsMedium) {
        if (const auto reason = _tray.whyNotReady()) {
            return ScsiAnswer::refusal(*reason);
        }
    }
    return entry->execute(*this, command);
}

std::chrono::microseconds LogicalUnit::timeFor(const ScsiAnswer& answer) const
{
    const uint64_t transfer = _megabytesPerSecond == 0 ? 0 : answer.transferred / _megabytesPerSecond;
    return _delay + std::chrono::microseconds(transfer);
}

void LogicalUnit::set(const std::string& key, const std::string& value)
{
    const std::map<std::string, std::function<void()>> setters{
        {"button-ignores-lock", [&] { _tray.setButtonIgnoresLock(toSwitch(value)); }},
        {"spin-up", [&] { _tray.setSpinUp(std::chrono::milliseconds(toNumber(value))); }},
        {"descriptor-sense", [&] { _isDescriptorSense = toSwitch(value); }},
        {"delay", [&] { _delay = std::chrono::milliseconds(toNumber(value)); }},
        {"rate", [&] { _megabytesPerSecond = toNumber(value); }},
        {"attention", [&] { addAttention(toSense(value)); }},
    };
    const auto found = setters.find(key);
    if (found != setters.end()) {
        found->second();
    } else if (_tray.medium() == nullptr || !_tray.medium()->set(key, value)) {
        throw std::invalid_argument("neither the drive nor a medium in it has '" + key + "'");
    }
}

void LogicalUnit::heal()
{
    _faults.clear();
    _delay = {};
    _megabytesPerSecond = 0;
    if (_tray.medium() != nullptr) {
        _tray.medium()->heal();
    }
}

std::string LogicalUnit::state() const
{
    const auto yes = [](bool isSo) { return isSo ? "yes" : "no"; };
    const Medium* const medium = _tray.medium();
    return std::string("tray=") + (_tray.isOpen() ? "open" : "closed") + ",locked=" + yes(_tray.isLocked()) +
           ",stopped=" + yes(_tray.isStopped()) + "," + (medium == nullptr ? "empty" : medium->description());
}

} // namespace lab
