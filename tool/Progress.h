#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

/// What a bar tells.
struct ProgressState {
    std::string step;
    double share; ///< that is done, 0 to 1
    double bytesPerSecond;
    double secondsLeft;
};

/// The bar with what is told beside it, in at most so many columns: what there is no room for is left out, the bar
/// first, the name of the step last.
std::string progressText(const ProgressState& state, std::size_t columns);

/// Takes away a bar that stands on the terminal. Whatever writes there does this first; the next bar comes below.
void eraseBar(int standardError = STDERR_FILENO);

/// A bar with rate and time left on standard error, where that is a terminal on which one can be drawn.
class Progress {
public:
    explicit Progress(bool quiet);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    void expect(std::uint64_t bytes) { _total = bytes; }

    /// @param step what is done now: "writing"; shown at once.
    void begin(const char* step);
    void advance(std::uint64_t bytes);

    /// Takes the bar away for good.
    void clear();

private:
    using Clock = std::chrono::steady_clock;
    void show();

    bool _visible;
    const char* _step = "";
    std::uint64_t _total = 0;
    std::uint64_t _done = 0;
    Clock::time_point _start = Clock::now();
    Clock::time_point _shown;
};

} // namespace tool
