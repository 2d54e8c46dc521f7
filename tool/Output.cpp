#include "tool/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tool/Failure.h"
#include "tool/Text.h"

namespace tool {

using nlohmann::ordered_json;

ordered_json jsonText(std::string_view text)
{
    const ordered_json raw = text;
    return ordered_json::parse(raw.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

Output::Output(const OutputOptions& options)
    : _options(options), _stream(fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "w")),
      _terminal(isatty(STDOUT_FILENO) == 1)
{
    if (_stream == nullptr)
        throw systemFailure("standard output", errno);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

std::string Output::shown(const std::string& name) const
{
    return _terminal ? escaped(name) : name;
}

void Output::line(const std::string& text)
{
    std::fputs((text + "\n").c_str(), _stream);
}

void Output::remark(const std::string& text)
{
    if (!_options.quiet)
        line(text);
}

void Output::table(const std::vector<std::vector<std::string>>& rows)
{
    std::vector<std::size_t> widths;
    for (const std::vector<std::string>& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    for (const std::vector<std::string>& row : rows) {
        std::string text;
        for (std::size_t i = 0; i < row.size(); ++i)
            text += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        line(text.substr(0, text.find_last_not_of(' ') + 1));
    }
}

void Output::document(const ordered_json& document)
{
    line(document.dump(2, ' ', _terminal));
}

void Output::finish()
{
    if (std::fflush(_stream) != 0 || std::ferror(_stream) != 0)
        throw systemFailure("standard output", errno);
}

Progress::Progress(bool quiet) : _visible(!quiet && isatty(STDERR_FILENO) == 1) {}

void Progress::clear()
{
    if (_visible)
        std::fputs("\r\x1b[K", stderr);
    _visible = false;
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
    constexpr int width = 30;
    _shown = Clock::now();
    const double seconds = std::max(std::chrono::duration<double>(_shown - _start).count(), 0.001);
    const double rate = static_cast<double>(_done) / seconds;
    const double share = _total == 0 ? 0 : std::min(1.0, static_cast<double>(_done) / static_cast<double>(_total));
    const auto left = static_cast<int>(share > 0 ? seconds * (1 - share) / share : 0);
    const std::string bar(static_cast<std::size_t>(share * width), '#');
    std::fprintf(stderr, "\r\x1b[K%-9s [%-*s] %3d%%  %s/s  %d:%02d left", _step, width, bar.c_str(),
                 static_cast<int>(share * 100), sizeText(static_cast<std::uint64_t>(rate)).c_str(), left / 60,
                 left % 60);
}

} // namespace tool
