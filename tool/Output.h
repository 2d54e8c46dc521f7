#pragma once

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
    /// @throws Failure where standard output is closed, before anything is begun.
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

    /// @throws Failure when what was written did not get out; without a text where nobody reads any more.
    void finish();

private:
    OutputOptions _options;
    std::FILE* _stream; ///< open to the end of the process
    bool _terminal;
    int _error = 0; ///< the first one of writing
};

} // namespace tool
