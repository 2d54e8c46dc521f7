#include "lab/drives/DriveDescription.h"

#include <charconv>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>

namespace lab {

namespace {

using Setter = std::function<bool(DriveDescription&, const std::string&)>; // false: the key has no such value

template <typename Value>
Setter oneOf(Value DriveDescription::*member, const std::map<std::string, Value>& choices)
{
    return [member, choices](DriveDescription& drive, const std::string& text) {
        const auto found = choices.find(text);
        if (found != choices.end()) {
            drive.*member = found->second;
        }
        return found != choices.end();
    };
}

Setter number(int DriveDescription::*member, int least)
{
    return [member, least](DriveDescription& drive, const std::string& text) {
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, drive.*member);
        return error == std::errc() && stop == end && drive.*member >= least;
    };
}

Setter yesOrNo(bool DriveDescription::*member)
{
    return oneOf(member, {{"yes", true}, {"no", false}});
}

const std::map<std::string, Setter>& setters()
{
    using Drive = DriveDescription;
    static const std::map<std::string, Setter> all{
        {"type", oneOf(&Drive::type, {{"disk", DriveType::disk}, {"mo", DriveType::magnetoOptical}})},
        {"label", oneOf(&Drive::label, {{"none", Label::none}, {"dos", Label::dos}, {"gpt", Label::gpt}})},
        {"fs", oneOf(&Drive::fileSystem,
                     {{"none", FileSystem::none}, {"vfat", FileSystem::vfat}, {"ext4", FileSystem::ext4}})},
        {"partitions", number(&Drive::partitions, 1)},
        {"luns", number(&Drive::logicalUnits, 1)},
        {"size", number(&Drive::megabytes, 1)},
        {"sector-size", oneOf(&Drive::sectorSize, {{"512", 512}, {"1024", 1024}, {"2048", 2048}, {"4096", 4096}})},
        {"spin-up", number(&Drive::spinUpMilliseconds, 0)},
        {"write-protect", yesOrNo(&Drive::writeProtected)},
        {"descriptor-sense", yesOrNo(&Drive::descriptorSense)},
    };
    return all;
}

void applySetting(DriveDescription& drive, const std::string& setting)
{
    const size_t equals = setting.find('=');
    const std::string key = setting.substr(0, equals);
    const std::string value = equals == std::string::npos ? "yes" : setting.substr(equals + 1);
    const auto setter = setters().find(key);
    if (setter == setters().end()) {
        throw std::invalid_argument("a drive has no setting '" + key + "'");
    }
    if (!setter->second(drive, value)) {
        throw std::invalid_argument("'" + value + "' is no value of '" + key + "'");
    }
}

} // namespace

const char* const driveKeysHelp = R"(  type=disk|mo            removable disk or magneto-optical drive (disk)
  label=dos|gpt|none      partition table (dos)
  partitions=N            of equal size (1)
  fs=vfat|ext4|none       file system of the partitions, of the medium without a label (vfat)
  luns=N                  logical units of the drive (1)
  size=MB                 of the medium (32)
  sector-size=BYTES       512, 1024, 2048 or 4096 (512)
  spin-up=MS              time that the new drive takes to become ready (0)
  write-protect           the medium, once it is formatted
  descriptor-sense        the drive answers with descriptor sense data)";

DriveDescription parseDrive(const std::string& text)
{
    DriveDescription drive;
    std::istringstream settings(text);
    for (std::string setting; std::getline(settings, setting, ',');) {
        applySetting(drive, setting);
    }
    return drive;
}

} // namespace lab
