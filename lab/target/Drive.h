#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lab/support/Values.h"
#include "lab/target/Configfs.h"
#include "lab/target/UnitServer.h"

namespace lab {

/// An emulated drive, as it stands beside the computer: with its logical units, plugged in or not. Its units answer in
/// threads of their own; the drive is for several threads, of which one plugs or unplugs at a time.
class Drive {
public:
    /// @param number that no drive had before it
    /// @param settings "type=mo,serial=...", and what LogicalUnit::set takes, for all units
    /// @param media for each unit what is in it: "file=PATH,sector-size=512", and what Medium::set takes, or "empty"
    Drive(int number, const std::string& settings, const std::vector<std::string>& media, CommandRecords& records);
    Drive(const Drive&) = delete;
    Drive& operator=(const Drive&) = delete;
    ~Drive();

    /// "host:channel:target", which it keeps when it is plugged in again.
    std::string address() const { return _port.address(); }

    size_t units() const { return _units.size(); }

    /// One of its units; throws std::out_of_range.
    UnitServer& unit(size_t number) const { return *_units.at(number).server; }

    void unplug(size_t unit);
    void plugIn(size_t unit);

    /// Whether commands get through to the drive.
    void setOnline(bool isOnline) const { _port.setOnline(isOnline); }

private:
    struct Unit {
        std::unique_ptr<UnitServer> server; ///< goes after the device, whose end makes it end
        std::unique_ptr<TargetDevice> device;
        bool isPluggedIn = false;
    };

    void addUnit(Pairs settings, const std::string& medium, CommandRecords& records);

    int _number;
    std::vector<Unit> _units;
    TargetPort _port;
    std::mutex _plugging;
};

/// The medium that is described; null for "empty".
std::unique_ptr<Medium> makeMedium(const std::string& description);

} // namespace lab
