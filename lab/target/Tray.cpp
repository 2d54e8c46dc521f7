#include "lab/target/Tray.h"

#include <algorithm>
#include <utility>

namespace lab {

std::optional<Sense> Tray::whyNotReady() const
{
    if (_isOpen || _medium == nullptr) {
        return _isOpen ? noMediumTrayOpen : noMediumTrayClosed;
    }
    if (_isStopped) {
        return stopped;
    }
    return Clock::now() < _ready ? std::optional<Sense>(becomingReady) : std::nullopt;
}

bool Tray::takeArrival()
{
    return _hasArrived && !whyNotReady() && std::exchange(_hasArrived, false);
}

std::chrono::microseconds Tray::timeUntilReady() const
{
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(_ready - Clock::now());
    return _medium == nullptr ? std::chrono::microseconds(0) : std::max(left, std::chrono::microseconds(0));
}

void Tray::setSpinUp(std::chrono::milliseconds time)
{
    _spinUp = time;
    _ready = std::min(_ready, Clock::now() + time);
}

void Tray::start()
{
    if (_isStopped) {
        _isStopped = false;
        _ready = Clock::now() + _spinUp;
    }
}

void Tray::close()
{
    if (_isOpen) {
        _isOpen = false;
        _hasArrived = _medium != nullptr;
        _isStopped = true;
        start();
    }
}

bool Tray::pressButton()
{
    if (_isOpen) {
        close();
        return true;
    }
    _isOpen = !_isLocked || _buttonIgnoresLock;
    return _isOpen;
}

void Tray::reset()
{
    _isLocked = false;
    _hasArrived = false;
    _isStopped = true;
    start();
}

} // namespace lab
