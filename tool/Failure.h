#pragma once

#include <stdexcept>
#include <string>

namespace tool {

enum ExitStatus : int {
    statusDone = 0,
    statusDeviceFailed = 1, ///< the drive or the medium failed, or is in use
    statusWrongUse = 2,     ///< what was asked for can't be done, and nothing was begun
    statusNotThere = 3,     ///< not permitted or not found
    statusInterrupted = 130,
};

/// What ends a command: the text for standard error and the exit status.
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

/// Keeps the signals that ask for an end, INT, TERM, HUP, QUIT and the like, unless they were ignored already, to be
/// looked for between steps. The programs that the library runs ignore them, so that a key on the terminal ends none of
/// them halfway: a killed fdisk reads as a medium without partitions, and its mounts are cleared then.
void holdInterrupts();

/// @throws Failure once one of these signals came. It stays pending: cleaning up looks for none. The library's long
/// waits end with it, too, also the one for the file that holds all scans.
void stopIfInterrupted();

} // namespace tool
