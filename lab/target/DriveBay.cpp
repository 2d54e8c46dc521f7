#include "lab/target/DriveBay.h"

#include <sstream>
#include <stdexcept>

#include "lab/support/Values.h"

namespace lab {

namespace {

std::vector<std::string> wordsOf(const std::string& request)
{
    std::vector<std::string> words;
    std::istringstream stream(request);
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// A person who exchanges a medium opens the tray by its button.
void openByHand(Tray& tray)
{
    if (!tray.isOpen() && !tray.pressButton()) {
        throw std::runtime_error("the tray is locked");
    }
}

std::string takeOut(Tray& tray)
{
    openByHand(tray);
    std::string taken = tray.medium() == nullptr ? "empty" : tray.medium()->description();
    tray.exchange(nullptr);
    return taken;
}

void heal(Drive& drive, size_t number, const std::string& /*argument*/)
{
    drive.setOnline(true);
    drive.unit(number).with([](LogicalUnit& unit) { unit.heal(); });
    drive.unit(number).release();
}

void set(Drive& drive, size_t number, const std::string& settings)
{
    for (const auto& [key, value] : toPairs(settings)) {
        if (key == "transport") {
            drive.setOnline(value != "offline");
        } else {
            drive.unit(number).with([&key = key, &value = value](LogicalUnit& unit) { unit.set(key, value); });
        }
    }
}

void unplug(Drive& drive, size_t number, const std::string& /*argument*/)
{
    drive.unplug(number);
}

void plugIn(Drive& drive, size_t number, const std::string& /*argument*/)
{
    drive.plugIn(number);
}

void tellState(LogicalUnit& /*unit*/, const std::string& /*argument*/) {}

void pressButton(LogicalUnit& unit, const std::string& /*argument*/)
{
    unit.tray().pressButton();
}

void forceOpen(LogicalUnit& unit, const std::string& /*argument*/)
{
    unit.tray().open();
}

void insert(LogicalUnit& unit, const std::string& description)
{
    auto medium = makeMedium(description);
    openByHand(unit.tray());
    unit.tray().exchange(std::move(medium));
    unit.tray().close();
}

void scriptAnswer(LogicalUnit& unit, const std::string& answer)
{
    unit.faults().add(answer);
}

const std::map<std::string, void (*)(Drive&, size_t, const std::string&)> driveVerbs{
    {"set", set}, {"heal", heal}, {"unplug", unplug}, {"plug-in", plugIn}};

// They tell the state that they lead to.
const std::map<std::string, void (*)(LogicalUnit&, const std::string&)> unitVerbs{{"state", tellState},
                                                                                  {"press-button", pressButton},
                                                                                  {"force-open", forceOpen},
                                                                                  {"insert", insert},
                                                                                  {"answer", scriptAnswer}};

bool isVerb(const std::string& verb)
{
    return verb == "take-out" || driveVerbs.count(verb) != 0 || unitVerbs.count(verb) != 0;
}

std::string perform(Drive& drive, size_t number, const std::string& verb, const std::string& argument)
{
    if (driveVerbs.count(verb) != 0) {
        driveVerbs.at(verb)(drive, number, argument);
        return {};
    }
    return drive.unit(number).with([&](LogicalUnit& unit) {
        if (verb == "take-out") {
            return takeOut(unit.tray());
        }
        unitVerbs.at(verb)(unit, argument);
        return unit.state();
    });
}

} // namespace

DriveBay::DriveBay()
{
    prepareTarget();
}

std::string DriveBay::obey(const std::string& request)
{
    const Words words = wordsOf(request);
    const std::string verb = words.empty() ? "" : words[0];
    if (verb == "add") {
        return add(words);
    }
    if (verb == "remove-all") {
        return removeAll(), "";
    }
    if (verb == "log") {
        return words.size() < 2 ? std::to_string(_records.next()) : _records.since(toNumber(words[1]));
    }
    if (!isVerb(verb) || words.size() < 2) {
        throw std::invalid_argument("drives don't understand '" + request + "'");
    }
    const auto [drive, unit] = placeOf(words[1]);
    return perform(*drive, unit, verb, words.size() > 2 ? words[2] : "");
}

std::string DriveBay::add(const Words& words)
{
    if (words.size() < 3) {
        throw std::invalid_argument("a drive is added by its settings and a medium for each unit");
    }
    const std::lock_guard<std::mutex> guard(_mutex);
    auto drive = std::make_shared<Drive>(_next++, words[1], Words(words.begin() + 2, words.end()), _records);
    std::string address = drive->address();
    _drives[address] = std::move(drive);
    return address;
}

void DriveBay::removeAll()
{
    healAll();
    const std::lock_guard<std::mutex> guard(_mutex);
    _drives.clear();
}

void DriveBay::healAll()
{
    const std::lock_guard<std::mutex> guard(_mutex);
    for (const auto& [address, drive] : _drives) {
        for (size_t unit = 0; unit < drive->units(); ++unit) {
            heal(*drive, unit, {});
        }
    }
}

std::pair<std::shared_ptr<Drive>, size_t> DriveBay::placeOf(const std::string& address)
{
    const size_t colon = std::min(address.rfind(':'), address.size());
    const std::lock_guard<std::mutex> guard(_mutex);
    const auto found = _drives.find(address.substr(0, colon));
    if (found == _drives.end()) {
        throw std::invalid_argument("there is no drive " + address);
    }
    const size_t unit = toNumber(address.substr(colon + 1));
    found->second->unit(unit);
    return {found->second, unit};
}

} // namespace lab
