#include "tool/Failure.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <set>
#include <sstream>
#include <vector>

#include "tool/Progress.h"
#include "tool/Text.h"

namespace tool {

Failure systemFailure(const std::string& subject, int error)
{
    static const std::set<int> notThere = {ENOENT, ENOTDIR, ENODEV, ENXIO, EACCES, EPERM};
    return {notThere.count(error) != 0 ? statusNotThere : statusDeviceFailed, subject + ": " + std::strerror(error)};
}

void tell(std::string start, const std::string& text)
{
    eraseBar();
    const bool terminal = isatty(STDERR_FILENO) == 1;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); start = "  ")
        std::cerr << start << (terminal ? escaped(line) : line) << '\n';
}

} // namespace tool
