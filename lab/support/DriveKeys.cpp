#include "lab/support/DriveKeys.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "lab/support/LabOptions.h"

namespace lab {

namespace {

template <typename Value>
Value chosen(const std::string& key, const std::string& text, const std::map<std::string, Value>& choices)
{
    const auto found = choices.find(text);
    if (found == choices.end()) {
        throw UsageError("'" + text + "' is no " + key);
    }
    return found->second;
}

const std::map<std::string, DriveType> driveTypes{{"disk", DriveType::disk}, {"mo", DriveType::magnetoOptical}};
const std::map<std::string, Label> labels{{"none", Label::none}, {"dos", Label::dos}, {"gpt", Label::gpt}};
const std::map<std::string, FileSystem> fileSystems{
    {"none", FileSystem::none}, {"vfat", FileSystem::vfat}, {"ext4", FileSystem::ext4}};

void setOnce(std::optional<int>& shared, const std::string& key, int value)
{
    if (shared && *shared != value) {
        throw UsageError("all drives of one lab share one " + key);
    }
    shared = value;
}

} // namespace

int parseNumber(const std::string& option, const std::string& text, int least)
{
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < least) {
        throw UsageError("'" + text + "' is no number for " + option);
    }
    return number;
}

bool DriveKeys::setFor(DriveDescription& drive, const std::string& key, const std::string& value)
{
    if (key == "type") {
        drive.type = chosen(key, value, driveTypes);
    } else if (key == "label") {
        drive.label = chosen(key, value, labels);
    } else if (key == "fs") {
        drive.fileSystem = chosen(key, value, fileSystems);
    } else if (key == "partitions") {
        drive.partitions = parseNumber(key, value, 1);
    } else if (key == "luns") {
        drive.logicalUnits = parseNumber(key, value, 1);
    } else {
        return setShared(key, value);
    }
    return true;
}

bool DriveKeys::setShared(const std::string& key, const std::string& value)
{
    if (key == "size") {
        setOnce(_megabytes, key, parseNumber(key, value, 1));
    } else if (key == "sector-size") {
        setOnce(_sectorSize, key, parseNumber(key, value, 512));
    } else if (key == "spin-up") {
        setOnce(_spinUpMilliseconds, key, parseNumber(key, value, 0));
    } else {
        return false;
    }
    return true;
}

bool DriveKeys::set(const std::string& key, const std::string& value)
{
    return setFor(_defaults, key, value);
}

void DriveKeys::addDrive(const std::string& text)
{
    _texts.push_back(text);
}

void DriveKeys::setCount(int count)
{
    _count = count;
}

DriveDescription DriveKeys::describedBy(const std::string& text)
{
    DriveDescription drive = _defaults;
    std::istringstream settings(text);
    for (std::string setting; std::getline(settings, setting, ',');) {
        const size_t equals = setting.find('=');
        if (equals == std::string::npos || !setFor(drive, setting.substr(0, equals), setting.substr(equals + 1))) {
            throw UsageError("a drive has no setting '" + setting + "'");
        }
    }
    return drive;
}

std::vector<DriveDescription> DriveKeys::drives()
{
    const size_t described = _texts.size();
    const size_t count = _count ? static_cast<size_t>(*_count) : std::max<size_t>(described, 1);
    if (count < described) {
        throw UsageError("more drives are described than --drives says");
    }
    std::vector<DriveDescription> drives(count, _defaults);
    std::transform(_texts.begin(), _texts.end(), drives.begin(),
                   [this](const std::string& text) { return describedBy(text); });
    return drives;
}

EmulationSettings DriveKeys::emulation() const
{
    EmulationSettings settings;
    settings.megabytes = _megabytes.value_or(settings.megabytes);
    settings.sectorSize = _sectorSize.value_or(settings.sectorSize);
    settings.spinUpMilliseconds = _spinUpMilliseconds.value_or(settings.spinUpMilliseconds);
    return settings;
}

} // namespace lab
