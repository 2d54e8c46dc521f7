#pragma once

#include "lab/drives/SteppedProgram.h"
#include "lab/support/TemporaryFolder.h"
#include "tests/system/LabTest.h"

/// What a run of the tool came to: the exit status, and what it said on both outputs.
struct ToolResult {
    int status;
    std::string said;
};

/// Runs the tool with arguments as a shell takes them. @param before a program to run it by.
ToolResult run(const std::string& arguments, const std::string& before = {});

/// Waits for the end of a tool that was started.
ToolResult finish(lab::SteppedProgram& tool);

/// Fails with what was said where the status is another or the text was not said.
testing::AssertionResult ended(const ToolResult& result, int status, const std::string& said = {});

/// A test of the tool that runs inside the lab, as root, on drives of its own with media of 200 MB.
struct ToolTest : LabTest {
    ToolTest();

    lab::EmulatedDrive add(lab::DriveDescription description = {});

    /// Whoever built the tool may have closed the folders above it to others, and to a root without its privileges.
    static void letOthersRunTheTool();

    /// The mount directory of a drive's first partition.
    static std::string directoryOf(const lab::EmulatedDrive& drive);

    /// The same as a tool that runs sees it, in its own mounts.
    static std::string directoryIn(const lab::SteppedProgram& tool, const lab::EmulatedDrive& drive);
    static bool isMounted(const lab::EmulatedDrive& drive);

    /// Makes a file below the machine's folder for this test. @return its path.
    std::string file(const std::string& name, std::size_t bytes) const;

    /// Starts a `put` of a small file, then a large one, into the folder "to". It stands still in the middle of the
    /// large one on return.
    void putAndStop(const lab::EmulatedDrive& drive);

    const lab::TemporaryFolder temporaries;
    const std::string& folder = temporaries.path(); ///< of the machine
    lab::SteppedProgram put;
};
