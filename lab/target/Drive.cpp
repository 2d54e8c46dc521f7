#include "lab/target/Drive.h"

#include <stdexcept>

#include "lab/support/Values.h"

namespace lab {

namespace {

uint8_t deviceType(const std::string& name)
{
    constexpr uint8_t disk = 0;
    constexpr uint8_t magnetoOptical = 7;
    if (name != "disk" && name != "mo") {
        throw std::invalid_argument("'" + name + "' is no type");
    }
    return name == "disk" ? disk : magnetoOptical;
}

std::string serialOf(int drive)
{
    const std::string number = std::to_string(drive);
    return "LAB" + std::string(5 - std::min<size_t>(number.size(), 5), '0') + number;
}

} // namespace

std::unique_ptr<Medium> makeMedium(const std::string& description)
{
    if (description == "empty") {
        return nullptr;
    }
    Pairs settings = toPairs(description);
    const std::string file = take(settings, "file", "");
    const uint64_t sectorSize = toNumber(take(settings, "sector-size", "512"));
    auto medium = std::make_unique<Medium>(file, static_cast<uint32_t>(sectorSize));
    for (const auto& [key, value] : settings) {
        if (!medium->set(key, value)) {
            throw std::invalid_argument("a medium has no '" + key + "'");
        }
    }
    return medium;
}

Drive::Drive(int number, const std::string& settings, const std::vector<std::string>& media, CommandRecords& records)
    : _number(number), _port(number)
{
    for (const std::string& medium : media) {
        addUnit(toPairs(settings), medium, records);
    }
    for (size_t unit = 0; unit < _units.size(); ++unit) {
        plugIn(unit);
    }
}

// Settings count from the switching on, the time to spin up among them.
void Drive::addUnit(Pairs settings, const std::string& medium, CommandRecords& records)
{
    const std::string number = std::to_string(_units.size());
    const std::string serial = take(settings, "serial", serialOf(_number));
    const Identity identity{deviceType(take(settings, "type", "disk")), number == "0" ? serial : serial + "U" + number};
    Unit unit;
    auto inside = makeMedium(medium);
    unit.device = std::make_unique<TargetDevice>("drive" + std::to_string(_number) + "-" + number);
    unit.server = std::make_unique<UnitServer>(unit.device->uioName(), address() + ":" + number, identity,
                                               std::move(inside), records);
    _units.push_back(std::move(unit));
    _units.back().server->with([&settings](LogicalUnit& made) {
        for (const auto& [key, value] : settings) {
            made.set(key, value);
        }
    });
}

Drive::~Drive()
{
    for (size_t unit = 0; unit < _units.size(); ++unit) {
        unplug(unit);
    }
}

void Drive::plugIn(size_t unit)
{
    const std::lock_guard<std::mutex> guard(_plugging);
    Unit& place = _units.at(unit);
    if (!place.isPluggedIn) {
        place.server->with([](LogicalUnit& logicalUnit) { logicalUnit.powerOn(); });
        _port.connect(static_cast<int>(unit), *place.device);
        place.isPluggedIn = true;
    }
}

// The kernel lets go of a unit only when all its commands have ended.
void Drive::unplug(size_t unit)
{
    const std::lock_guard<std::mutex> guard(_plugging);
    Unit& place = _units.at(unit);
    if (place.isPluggedIn) {
        place.server->release();
        _port.disconnect(static_cast<int>(unit), *place.device);
        place.isPluggedIn = false;
    }
}

} // namespace lab
