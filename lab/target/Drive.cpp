#include "lab/target/Drive.h"

#include <stdexcept>

#include "lab/target/Values.h"

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

std::string serialOf(int drive, size_t unit)
{
    std::string number = std::to_string(drive);
    return "LAB" + std::string(5 - std::min<size_t>(number.size(), 5), '0') + number + "U" + std::to_string(unit);
}

} // namespace

std::unique_ptr<Medium> makeMedium(const std::string& description)
{
    if (description == "empty") {
        return nullptr;
    }
    std::string file;
    uint32_t sectorSize = 512;
    std::vector<std::pair<std::string, std::string>> others;
    for (const auto& [key, value] : toPairs(description)) {
        if (key == "file") {
            file = value;
        } else if (key == "sector-size") {
            sectorSize = static_cast<uint32_t>(toNumber(value));
        } else {
            others.emplace_back(key, value);
        }
    }
    auto medium = std::make_unique<Medium>(file, sectorSize);
    for (const auto& [key, value] : others) {
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
        addUnit(settings, medium, records);
    }
    for (size_t unit = 0; unit < _units.size(); ++unit) {
        plugIn(unit);
    }
}

// Settings count from the switching on, the time to spin up among them.
void Drive::addUnit(const std::string& settings, const std::string& medium, CommandRecords& records)
{
    const size_t number = _units.size();
    Identity identity{0, serialOf(_number, number)};
    std::vector<std::pair<std::string, std::string>> others;
    for (const auto& [key, value] : toPairs(settings)) {
        if (key == "type") {
            identity.deviceType = deviceType(value);
        } else if (key == "serial") {
            identity.serial = number == 0 ? value : value + "U" + std::to_string(number);
        } else {
            others.emplace_back(key, value);
        }
    }
    Unit unit;
    auto inside = makeMedium(medium);
    unit.device = std::make_unique<TargetDevice>("drive" + std::to_string(_number) + "-" + std::to_string(number));
    unit.server = std::make_unique<UnitServer>(unit.device->uioName(), identity, std::move(inside), records);
    unit.server->setAddress(address() + ":" + std::to_string(number));
    _units.push_back(std::move(unit));
    _units.back().server->with([&others](LogicalUnit& made) {
        for (const auto& [key, value] : others) {
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
    Unit& place = _units.at(unit);
    if (place.isPluggedIn) {
        place.server->release();
        _port.disconnect(static_cast<int>(unit), *place.device);
        place.isPluggedIn = false;
    }
}

} // namespace lab
