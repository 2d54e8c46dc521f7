#include "lab/drives/DriveDescription.h"

#include <climits>
#include <functional>
#include <map>
#include <stdexcept>

#include "lab/support/Values.h"

namespace lab {

namespace {

// False: the key has no such value.
using Setter = std::function<bool(DriveDescription&, const std::string& key, const std::string& value)>;

template <typename Value>
Setter oneOf(Value DriveDescription::*member, const std::map<std::string, Value>& choices)
{
    return [member, choices](DriveDescription& drive, const std::string& /*key*/, const std::string& value) {
        const auto found = choices.find(value);
        if (found != choices.end()) {
            drive.*member = found->second;
        }
        return found != choices.end();
    };
}

Setter positive(int DriveDescription::*member)
{
    return [member](DriveDescription& drive, const std::string& /*key*/, const std::string& value) {
        const uint64_t number = toNumber(value);
        drive.*member = static_cast<int>(number);
        return number > 0 && number <= INT_MAX;
    };
}

// What only the drives understand.
Setter leftTo(std::string DriveDescription::*settings)
{
    return [settings](DriveDescription& drive, const std::string& key, const std::string& value) {
        drive.*settings += "," + key + "=" + value;
        return true;
    };
}

std::map<std::string, Setter> setters()
{
    using Drive = DriveDescription;
    std::map<std::string, Setter> all{
        {"type", oneOf(&Drive::type, {{"disk", DriveType::disk}, {"mo", DriveType::magnetoOptical}})},
        {"label", oneOf(&Drive::label, {{"none", Label::none}, {"dos", Label::dos}, {"gpt", Label::gpt}})},
        {"fs", oneOf(&Drive::fileSystem,
                     {{"none", FileSystem::none}, {"vfat", FileSystem::vfat}, {"ext4", FileSystem::ext4}})},
        {"partitions", positive(&Drive::partitions)},
        {"luns", positive(&Drive::logicalUnits)},
        {"size", positive(&Drive::megabytes)},
        {"sector-size", oneOf(&Drive::sectorSize, {{"512", 512}, {"1024", 1024}, {"2048", 2048}, {"4096", 4096}})},
        {"empty", oneOf(&Drive::isEmpty, {{"yes", true}, {"no", false}})},
    };
    for (const char* const key :
         {"serial", "spin-up", "descriptor-sense", "button-ignores-lock", "delay", "rate", "attention"}) {
        all[key] = leftTo(&Drive::driveSettings);
    }
    for (const char* const key : {"write-protect", "unreadable", "unwritable", "lose-writes"}) {
        all[key] = leftTo(&Drive::mediumSettings);
    }
    return all;
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
  button-ignores-lock     the button opens a locked tray
  attention=6/2a/09       one more UNIT ATTENTION to be told: key, code and qualifier)";

DriveDescription parseDrive(const std::string& text)
{
    static const std::map<std::string, Setter> all = setters();
    DriveDescription drive;
    for (const auto& [key, value] : toPairs(text)) {
        const auto setter = all.find(key);
        if (setter == all.end()) {
            throw std::invalid_argument("a drive has no setting '" + key + "'");
        }
        if (!setter->second(drive, key, value)) {
            throw std::invalid_argument("'" + value + "' is no value of '" + key + "'");
        }
    }
    return drive;
}

} // namespace lab
