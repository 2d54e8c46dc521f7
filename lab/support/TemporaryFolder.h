#pragma once

#include <string>

namespace lab {

/// A new folder of this process alone among the machine's temporary files, removed with all that is in it. Its path
/// has no blanks, even if $TMPDIR has: it goes into command lines that know no quotes.
class TemporaryFolder {
public:
    /// Throws std::system_error.
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::string& path() const { return _path; }

private:
    std::string _path;
};

} // namespace lab
