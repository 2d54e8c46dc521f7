#pragma once

#include <chrono>
#include <memory>

#include "lab/target/Medium.h"
#include "lab/target/Sense.h"

namespace lab {

/// What moves in a drive: the tray with its button and lock, the medium in it, and the motor. Commands and people move
/// it alike.
class Tray {
public:
    using Clock = std::chrono::steady_clock;

    /// The medium, whether the tray is open or shut; null: none.
    Medium* medium() const { return _medium.get(); }

    bool isOpen() const { return _isOpen; }
    bool isLocked() const { return _isLocked; }
    bool isStopped() const { return _isStopped; }

    /// Why the medium can't be used now; nothing where it can.
    std::optional<Sense> whyNotReady() const;

    /// Whether a medium has become ready since this was last asked, other than by a mere start of the motor.
    bool takeArrival();

    /// Starts or stops the motor. A started one needs the time to spin up before the medium is ready.
    void start();
    void stop() { _isStopped = true; }

    void lock(bool isLocked) { _isLocked = isLocked; }

    /// Opens the tray, whatever the lock says; the medium then lies in it.
    void open() { _isOpen = true; }

    /// Shuts it, which starts the motor where there is a medium.
    void close();

    /// A person presses the button: it shuts the tray, or opens it unless that is locked. @return whether it moved
    bool pressButton();

    /// Puts a medium, or none, in the place of what was there; the tray must be open.
    void exchange(std::unique_ptr<Medium> medium) { _medium = std::move(medium); }

    /// The power comes back: unlocked, and the motor starts.
    void reset();

    /// How long the motor still needs.
    std::chrono::microseconds timeUntilReady() const;

    /// How long it takes, also from now on where it is under way and would take longer.
    void setSpinUp(std::chrono::milliseconds time);
    void setButtonIgnoresLock(bool ignores) { _buttonIgnoresLock = ignores; }

private:
    std::unique_ptr<Medium> _medium;
    bool _isOpen = false;
    bool _isLocked = false;
    bool _isStopped = false;
    bool _hasArrived = false;
    bool _buttonIgnoresLock = false;
    std::chrono::milliseconds _spinUp{0};
    Clock::time_point _ready;
};

} // namespace lab
