#pragma once

#include <string>

#include "platform/UXScsi.h"

/// Internal: one try to open a drive through the SCSI pass-through layer, and the lines that tell of it.
///
/// Its three users agree in what is opened and in the texts; they differ in the levels, in who speaks, and in what
/// they do with the outcome.
class DriveOpening {
public:
    /// Opens the drive. A failure is told by `descriptor()`; the layer may throw `KrException` besides.
    explicit DriveOpening(const std::string& devicePath) : _target(devicePath.c_str(), false)
    {
        constexpr int commandTimeOutSeconds = 60;
        UXScsi::open(_target, commandTimeOutSeconds);
        _descriptor = _target.getFD();
    }

    /// @return -1 when the drive could not be opened.
    int descriptor() const { return _descriptor; }

    std::string nativePath() const { return _target.getNativePath(); }

    /// Tells the outcome through `log(level, text)`. @return whether the drive is open.
    template <class Log>
    bool report(int failureLevel, int successLevel, Log log) const
    {
        if (_descriptor == -1) {
            log(failureLevel, "Open on Volume Failed ");
            return false;
        }
        log(successLevel, "Native Path " + nativePath() + " FD " + std::to_string(_descriptor));
        log(successLevel, "Open on Volume Succeded ");
        return true;
    }

    /// How long the library waits after a failure: a drive that was just connected gets the time to come up.
    static constexpr unsigned int waitSeconds = 1000;

private:
    UXScsiTarget _target;
    int _descriptor = -1;
};
