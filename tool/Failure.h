#pragma once

#include <stdexcept>
#include <string>

namespace tool {

enum ExitStatus : int {
    statusDone = 0,
    statusDeviceFailed = 1, ///< the drive, the medium or the output failed, or something is in use
    statusWrongUse = 2,     ///< what was asked for can't be done as it was asked for
    statusNotThere = 3,     ///< something is not there or not permitted
    statusInterrupted = 130,
};

/// What ends a command: the text for standard error, where nothing is said without one, and the exit status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), _status(status) {}
    ExitStatus status() const { return _status; }

private:
    ExitStatus _status;
};

/// The failure of a system call on `subject`. @param error its `errno`.
Failure systemFailure(const std::string& subject, int error);

/// Writes to standard error, so that it can do no harm on a terminal: the first line says what failed; those that
/// follow, why, as far as that is known. @param start what stands before the first.
void tell(std::string start, const std::string& text);

} // namespace tool
