#include "tool/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tool/Failure.h"
#include "tool/Progress.h"
#include "tool/Text.h"

namespace tool {

using nlohmann::ordered_json;

namespace {

/// A reader that went away wants no more, and be it a complaint.
Failure outputFailure(int error)
{
    if (error == EPIPE)
        return {statusDeviceFailed, ""};
    return {statusDeviceFailed, std::string("standard output: ") + std::strerror(error)};
}

/// A standard output that was closed is open for reading by now, so that no file takes its place.
int writable(int descriptor)
{
    if ((fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDONLY)
        throw Failure(statusDeviceFailed, "standard output is closed");
    return descriptor;
}

} // namespace

ordered_json jsonText(std::string_view text)
{
    const ordered_json raw = text;
    return ordered_json::parse(raw.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

Output::Output(const OutputOptions& options)
    : _options(options), _stream(fdopen(fcntl(writable(STDOUT_FILENO), F_DUPFD_CLOEXEC, 0), "w")),
      _terminal(isatty(STDOUT_FILENO) == 1)
{
    if (_stream == nullptr)
        throw outputFailure(errno);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

std::string Output::shown(const std::string& name) const
{
    return _terminal ? escaped(name) : name;
}

void Output::line(const std::string& text)
{
    if (_terminal)
        eraseBar();
    const std::string all = text + "\n";
    if (std::fwrite(all.data(), 1, all.size(), _stream) != all.size() && _error == 0)
        _error = errno; // what is said later of it is no longer the reason
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
    if (std::fflush(_stream) != 0 && _error == 0)
        _error = errno;
    if (_error != 0)
        throw outputFailure(_error);
}

} // namespace tool
