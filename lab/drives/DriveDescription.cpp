#include "lab/drives/DriveDescription.h"

#include <charconv>
#include <functional>
#include <map>
#include <set>
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

// What only the drives understand is left to them.
bool isLeftToDrives(DriveDescription& drive, const std::string& key, const std::string& value)
{
    static const std::set<std::string> ofDrive{"serial", "spin-up", "descriptor-sense", "button-ignores-lock",
                                               "delay",  "rate",    "attention"};
    static const std::set<std::string> ofMedium{"write-protect", "unreadable", "unwritable", "lose-writes"};
    if (ofDrive.count(key) + ofMedium.count(key) == 0) {
        return false;
    }
    (ofDrive.count(key) != 0 ? drive.driveSettings : drive.mediumSettings) += "," + key + "=" + value;
    return true;
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
        {"empty", yesOrNo(&Drive::isEmpty)},
    };
    return all;
}

void applySetting(DriveDescription& drive, const std::string& setting)
{
    const size_t equals = setting.find('=');
    const std::string key = setting.substr(0, equals);
    const std::string value = equals == std::string::npos ? "yes" : setting.substr(equals + 1);
    if (isLeftToDrives(drive, key, value)) {
        return;
    }
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
  empty                   no medium in it
  write-protect           of the medium
  unreadable=BLOCKS       medium error at these blocks, FIRST or FIRST+NUMBER or all
  unwritable=BLOCKS       likewise for writes
  lose-writes=BLOCKS      writes to them are answered GOOD and lost
  serial=TEXT             number of the drive
  spin-up=MS              time that a motor needs (0)
  delay=MS, rate=MB/S     of every answer, of data
  descriptor-sense        sense data in descriptor format
  button-ignores-lock     the button opens a locked tray)";

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
