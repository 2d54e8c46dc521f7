#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lab/drives/DriveDescription.h"

namespace lab {

/// Collects what the command line says about drives: settings for all of them, and drives named one by one.
class DriveKeys {
public:
    /// Sets a key for every drive that does not say otherwise; false where there is no such key.
    /// @throws UsageError for a value that the key does not know
    bool set(const std::string& key, const std::string& value);

    /// Notes one drive, "key=value,key=value"; an empty text is a drive without wishes of its own.
    void addDrive(const std::string& text);

    /// Notes how many drives there are; those beyond the described ones get the settings for all.
    void setCount(int count);

    /// The drives asked for: one, if nothing was said of their number.
    std::vector<DriveDescription> drives();

    /// Complete only once `drives` was called, for a drive may name settings that all share.
    EmulationSettings emulation() const;

private:
    bool setFor(DriveDescription& drive, const std::string& key, const std::string& value);
    bool setShared(const std::string& key, const std::string& value);
    DriveDescription describedBy(const std::string& text);

    DriveDescription _defaults;
    std::vector<std::string> _texts;
    std::optional<int> _count;
    std::optional<int> _megabytes;
    std::optional<int> _sectorSize;
    std::optional<int> _spinUpMilliseconds;
};

/// The number that the text is, all of it, from `least` up; throws UsageError naming the option.
int parseNumber(const std::string& option, const std::string& text, int least);

} // namespace lab
