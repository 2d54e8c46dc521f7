#pragma once

#include <string>

#include "lab/support/Process.h"
#include "lab/support/SystemCall.h"

namespace lab {

/// A program whose outputs go into a pipe with room for one write: it can't go on before what it says is read, and so
/// it can be held at any of its lines.
class SteppedProgram {
public:
    /// Starts a command line of the shell.
    void start(const std::string& line);

    /// Lets it run until it has said a text a number of times and said something more; there it stands, about to say
    /// what comes next.
    void runBehind(const std::string& text, int times);

    void kill(int signal) const { _process.kill(signal); }

    /// Of the program where the command line begins with "exec", of the shell else.
    pid_t process() const { return _process.number(); }

    /// Lets it run to its end. @return its exit status, or 128 and the signal that it died of.
    int finish();

    /// What it has said so far, on both outputs.
    const std::string& said() const { return _said; }

private:
    bool read() { return readOnto(_said, _output.number()); }

    Process _process;
    Descriptor _output;
    std::string _said;
};

} // namespace lab
