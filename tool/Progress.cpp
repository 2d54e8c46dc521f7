#include "tool/Progress.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tool/Text.h"

namespace tool {

namespace {

constexpr const char* eraseLine = "\r\x1b[K";
bool barIsShown = false; ///< there is one terminal

void write(int descriptor, const std::string& text)
{
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    static_cast<void>(written); // there is nobody to tell
}

bool canDraw()
{
    const char* const type = std::getenv("TERM");
    return type != nullptr && *type != '\0' && std::string(type) != "dumb" && isatty(STDERR_FILENO) == 1;
}

/// All but the last: many terminals go to the next line once that is written. Asked anew each time, since windows
/// change.
std::size_t columnsToUse()
{
    constexpr std::size_t usual = 80;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (known ? size.ws_col : usual) - 1;
}

std::string percentText(double share)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), " %3d%%", static_cast<int>(share * 100));
    return text.data();
}

std::string leftText(double seconds)
{
    constexpr double most = 359'999; // a hundred hours, and no more than the text has room for
    const auto left = static_cast<int>(std::min(seconds, most));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "  %d:%02d left", left / 60, left % 60);
    return text.data();
}

} // namespace

std::string progressText(const ProgressState& state, std::size_t columns)
{
    constexpr std::size_t longestBar = 30;
    constexpr std::size_t shortestBar = 5;
    const std::string percent = percentText(state.share);
    const std::string rate = percent + "  " + sizeText(static_cast<std::uint64_t>(state.bytesPerSecond)) + "/s";
    for (const std::string& end : {rate + leftText(state.secondsLeft), rate, percent}) {
        const std::size_t used = state.step.size() + std::string(" []").size() + end.size();
        if (used + shortestBar > columns)
            continue;
        const std::size_t room = std::min(longestBar, columns - used);
        const auto filled = static_cast<std::size_t>(state.share * static_cast<double>(room));
        return state.step + " [" + std::string(filled, '#') + std::string(room - filled, ' ') + "]" + end;
    }
    return (state.step + percent).substr(0, columns);
}

void eraseBar(int standardError)
{
    if (std::exchange(barIsShown, false))
        write(standardError, eraseLine);
}

Progress::Progress(bool quiet) : _visible(!quiet && canDraw()) {}

void Progress::clear()
{
    _visible = false;
    eraseBar();
}

void Progress::begin(const char* step)
{
    _step = step;
    if (_visible)
        show();
}

void Progress::advance(std::uint64_t bytes)
{
    constexpr std::chrono::milliseconds interval(200);
    _done += bytes;
    if (_visible && Clock::now() - _shown >= interval)
        show();
}

void Progress::show()
{
    _shown = Clock::now();
    const double seconds = std::max(std::chrono::duration<double>(_shown - _start).count(), 0.001);
    const double share = _total == 0 ? 0 : std::min(1.0, static_cast<double>(_done) / static_cast<double>(_total));
    const double left = share > 0 ? seconds * (1 - share) / share : 0;
    const ProgressState state = {_step, share, static_cast<double>(_done) / seconds, left};
    write(STDERR_FILENO, eraseLine + progressText(state, columnsToUse()));
    barIsShown = true;
}

} // namespace tool
