#pragma once

#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// What the user asked of the output, whatever the command.
struct OutputOptions {
    bool json = false;
    bool quiet = false;
};

/// Text for a JSON document. Bytes that are no UTF-8 become replacement characters.
nlohmann::ordered_json jsonText(std::string_view text);

/// Standard output, apart from that of the library, which prints there as well.
class Output {
public:
    explicit Output(const OutputOptions& options);

    bool json() const { return _options.json; }
    bool quiet() const { return _options.quiet; }

    /// A name as it is, or, on a terminal, so that it can do no harm there.
    std::string shown(const std::string& name) const;

    void line(const std::string& text);

    /// A line that `--quiet` leaves out.
    void remark(const std::string& text);

    /// Rows with their columns under one another.
    void table(const std::vector<std::vector<std::string>>& rows);
    void document(const nlohmann::ordered_json& document);

    /// @throws Failure when what was written did not get out.
    void finish();

private:
    OutputOptions _options;
    std::FILE* _stream; ///< open to the end of the process
    bool _terminal;
};

/// A bar with rate and time left on standard error, where that is a terminal; nothing in a pipe.
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

    /// Takes the bar away.
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
