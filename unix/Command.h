#pragma once

#include <cstdio>
#include <string>

/// Internal: an external command of the system, run through the shell, whose standard output is read.
///
/// The line goes to the shell as it is, without quoting: what may stand in it is decided where names enter the
/// library (see the inventory). The exit status is not looked at; a command that prints nothing has succeeded.
class Command {
public:
    /// Starts the command (popen, mode "r").
    explicit Command(const std::string& line);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Waits for the command's end (pclose), unless it was closed or abandoned.
    ~Command();

    /// @return false when it could not be started; `errno` has the reason, until the next call that sets it.
    bool started() const { return _stream != nullptr; }

    /// Reads to the end of the output, blocking as long as the command has it open, whatever signals arrive.
    std::string readAll();

    /// Waits for the command's end.
    void close();

    /// Leaves the stream open for good.
    void abandon() { _stream = nullptr; }

private:
    std::FILE* _stream;
};
