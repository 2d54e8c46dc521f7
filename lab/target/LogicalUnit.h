#pragma once

#include <deque>
#include <string>

#include "lab/target/FaultScript.h"
#include "lab/target/ScsiCommand.h"
#include "lab/target/Tray.h"

namespace lab {

/// What a drive says of itself when asked by INQUIRY.
struct Identity {
    uint8_t deviceType = 0; ///< 0: disk, 7: magneto-optical
    std::string serial;
};

/// One logical unit of a removable SCSI drive: executes the commands that reach it, as T10's documents have it, on the
/// medium in its tray. Knows nothing of how commands reach it. For one thread at a time.
class LogicalUnit {
public:
    /// A unit that was just switched on; its tray is shut.
    LogicalUnit(Identity identity, std::unique_ptr<Medium> medium);

    ScsiAnswer execute(const ScsiCommand& command);

    /// The power was away: whatever the drive knew of its user is forgotten.
    void powerOn();

    /// Sets one property of the drive, or of the medium that is in it, as lab/README.md lists them. Throws
    /// std::invalid_argument for a key that both have not, or a value.
    void set(const std::string& key, const std::string& value);

    /// Ends all faults of the drive and of the medium in it.
    void heal();

    /// What it is like, for people: "tray=closed,locked=no,...", and the description of the medium or "empty".
    std::string state() const;

    std::vector<uint8_t> encoded(const Sense& sense) const { return senseData(sense, _isDescriptorSense); }

    Tray& tray() { return _tray; }
    FaultScript& faults() { return _faults; }
    const Identity& identity() const { return _identity; }

    /// Has the next command answered by this UNIT ATTENTION, after those that are due already.
    void addAttention(const Sense& attention) { _attentions.push_back(attention); }

    /// The next UNIT ATTENTION, which is told with that.
    std::optional<Sense> takeAttention();

private:
    ScsiAnswer interpret(const ScsiCommand& command);
    std::chrono::microseconds timeFor(const ScsiAnswer& answer) const;

    Identity _identity;
    Tray _tray;
    FaultScript _faults;
    std::deque<Sense> _attentions;
    bool _isDescriptorSense = false;
    std::chrono::milliseconds _delay{0};
    uint64_t _megabytesPerSecond = 0; ///< 0: as fast as it can
};

} // namespace lab
