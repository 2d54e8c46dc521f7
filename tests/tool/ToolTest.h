#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>

#include "lab/drives/EmulatedDrives.h"

/// What a run of the tool came to: the exit status, and what it said on both outputs.
struct ToolResult {
    int status;
    std::string said;
};

/// Runs the tool with arguments as a shell takes them. @param before a program to run it by.
ToolResult run(const std::string& arguments, const std::string& before = {});

/// Fails with what was said where the status is another or the text was not said.
::testing::AssertionResult ended(const ToolResult& result, int status, const std::string& said = {});

/// A test of the tool that runs inside the lab, as root, on drives of its own with media of 200 MB.
class ToolTest : public ::testing::Test {
protected:
    ToolTest();
    ~ToolTest() override;

    /// The mount directory of a drive's first partition.
    static std::string directoryOf(const lab::EmulatedDrive& drive);
    static bool isMounted(const lab::EmulatedDrive& drive);

    /// Makes a file below the machine's folder for this test. @return its path.
    std::string file(const std::string& name, std::size_t bytes) const;

    /// What is on the medium, folders too: names below its root in order, each with a blank behind it.
    static std::string contentOf(const lab::EmulatedDrive& drive);

    /// Starts a `put` of a small file, then a large one, into the folder "to". It stands still in the middle of the
    /// large one on return.
    void putAndStop(const lab::EmulatedDrive& drive);

    /// Lets it go on, with a signal if there is one, and waits for its end.
    ToolResult finishPut(int signal = 0);

    lab::EmulatedDrives drives;
    const std::string folder = "/tmp/krmo-tool-test"; ///< of the machine
    pid_t put = -1;
};
