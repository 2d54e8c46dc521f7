#pragma once

#include <string>
#include <vector>

#include "lab/support/Process.h"
#include "lab/support/TemporaryFolder.h"

namespace lab {

/// One `lab/run` with its standard streams in files, so that nothing of them can be lost or blocked.
class LabProcess {
public:
    /// Starts it. `arguments` are those of lab/run; `input` is what it reads.
    explicit LabProcess(const std::vector<std::string>& arguments, const std::string& input = {});

    /// Waits until the text is in the standard output.
    void waitForOutput(const std::string& text) const;

    pid_t number() const { return _process.number(); }

    void signal(int number) const { _process.kill(number); }

    /// Waits for the end and returns the exit status; 1000 plus the number of the signal that killed lab/run itself.
    int wait() { return _process.wait(1000); }

    std::string output() const;
    std::string error() const;

private:
    TemporaryFolder _folder;
    Process _process;
};

} // namespace lab
