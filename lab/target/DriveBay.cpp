#include "lab/target/DriveBay.h"

#include <sstream>
#include <stdexcept>

#include "lab/target/Values.h"

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

void heal(Drive& drive, size_t number)
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

} // namespace

DriveBay::DriveBay()
{
    prepareTarget();
}

const std::map<std::string, DriveBay::UnitVerb>& DriveBay::unitVerbs()
{
    const auto unitVerb = [](std::function<void(LogicalUnit&, const std::string&)> action) -> UnitVerb {
        return [action = std::move(action)](const Place& place, const std::string& argument) {
            return place.drive->unit(place.unit).with([&](LogicalUnit& unit) {
                action(unit, argument);
                return unit.state();
            });
        };
    };
    static const std::map<std::string, UnitVerb> verbs{
        {"state", unitVerb([](LogicalUnit& /*unit*/, const std::string& /*argument*/) {})},
        {"press-button",
         unitVerb([](LogicalUnit& unit, const std::string& /*argument*/) { unit.tray().pressButton(); })},
        {"force-open", unitVerb([](LogicalUnit& unit, const std::string& /*argument*/) { unit.tray().open(); })},
        {"insert", unitVerb([](LogicalUnit& unit, const std::string& argument) {
             auto medium = makeMedium(argument);
             openByHand(unit.tray());
             unit.tray().exchange(std::move(medium));
             unit.tray().close();
         })},
        {"take-out",
         [](const Place& place, const std::string& /*argument*/) {
             return place.drive->unit(place.unit).with([](LogicalUnit& unit) { return takeOut(unit.tray()); });
         }},
        {"answer", unitVerb([](LogicalUnit& unit, const std::string& argument) { unit.faults().add(argument); })},
        {"set",
         [](const Place& place, const std::string& argument) {
             lab::set(*place.drive, place.unit, argument);
             return std::string();
         }},
        {"heal",
         [](const Place& place, const std::string& /*argument*/) {
             lab::heal(*place.drive, place.unit);
             return std::string();
         }},
        {"unplug",
         [](const Place& place, const std::string& /*argument*/) {
             const std::lock_guard<std::mutex> guard(*place.plugging);
             place.drive->unplug(place.unit);
             return std::string();
         }},
        {"plug-in",
         [](const Place& place, const std::string& /*argument*/) {
             const std::lock_guard<std::mutex> guard(*place.plugging);
             place.drive->plugIn(place.unit);
             return std::string();
         }},
    };
    return verbs;
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
    const auto found = unitVerbs().find(verb);
    if (found == unitVerbs().end() || words.size() < 2) {
        throw std::invalid_argument("drives don't understand '" + request + "'");
    }
    return found->second(placeOf(words[1]), words.size() > 2 ? words[2] : "");
}

std::string DriveBay::add(const Words& words)
{
    if (words.size() < 3) {
        throw std::invalid_argument("a drive is added by its settings and a medium for each unit");
    }
    const std::lock_guard<std::mutex> guard(_mutex);
    auto drive = std::make_shared<Drive>(_next++, words[1], Words(words.begin() + 2, words.end()), _records);
    std::string address = drive->address();
    _drives[address] = {std::move(drive), std::make_shared<std::mutex>(), 0};
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
    for (const auto& [address, place] : _drives) {
        for (size_t unit = 0; unit < place.drive->units(); ++unit) {
            lab::heal(*place.drive, unit);
        }
    }
}

DriveBay::Place DriveBay::placeOf(const std::string& address)
{
    const size_t colon = std::min(address.rfind(':'), address.size());
    const std::lock_guard<std::mutex> guard(_mutex);
    const auto found = _drives.find(address.substr(0, colon));
    if (found == _drives.end()) {
        throw std::invalid_argument("there is no drive " + address);
    }
    Place place = found->second;
    place.unit = toNumber(address.substr(colon + 1));
    place.drive->unit(place.unit);
    return place;
}

} // namespace lab
