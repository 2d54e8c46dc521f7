#include "tests/tool/ToolTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "lab/support/Process.h"

namespace fs = std::filesystem;

ToolResult run(const std::string& arguments, const std::string& before)
{
    lab::SteppedProgram tool;
    tool.start(before + " '" KRMO_TOOL "' " + arguments);
    return finish(tool);
}

ToolResult finish(lab::SteppedProgram& tool)
{
    const int status = tool.finish();
    return {status, tool.said()};
}

testing::AssertionResult ended(const ToolResult& result, int status, const std::string& said)
{
    const bool good = result.status == status && result.said.find(said) != std::string::npos;
    return (good ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "ended with " << result.status << " and said\n"
           << result.said << "where status " << status << " and '" << said << "' were awaited";
}

ToolTest::ToolTest()
{
    fs::create_directories(folder + "/back");
}

lab::EmulatedDrive ToolTest::add(lab::DriveDescription description)
{
    description.megabytes = 200;
    return drives.add(description);
}

void ToolTest::letOthersRunTheTool()
{
    lab::runCommand({"sh", "-c",
                     "file=$0; chmod go+r \"${file%/*}\"/libkr*.so.?; "
                     "while [ \"$file\" ]; do chmod go+rx \"$file\"; file=${file%/*}; done",
                     KRMO_TOOL});
}

std::string ToolTest::directoryOf(const lab::EmulatedDrive& drive)
{
    return drive.partitionNode(1).substr(4) + "/KRMT";
}

std::string ToolTest::directoryIn(const lab::SteppedProgram& tool, const lab::EmulatedDrive& drive)
{
    return "/proc/" + std::to_string(tool.process()) + "/root" + directoryOf(drive);
}

bool ToolTest::isMounted(const lab::EmulatedDrive& drive)
{
    return mountOf(drive.partitionNode(1)) == directoryOf(drive);
}

std::string ToolTest::file(const std::string& name, std::size_t bytes) const
{
    const fs::path path = folder + "/" + name;
    fs::create_directories(path.parent_path());
    std::string data(bytes, '\0');
    std::generate(data.begin(), data.end(), std::minstd_rand(static_cast<unsigned int>(bytes)));
    std::ofstream(path, std::ios::binary) << data;
    return path;
}

void ToolTest::putAndStop(const lab::EmulatedDrive& drive)
{
    const std::string large = file("large", 0);
    fs::resize_file(large, 100'000'000);
    put.start("exec '" KRMO_TOOL "' put --verbose --to to " + drive.genericNode + " " + file("small", 10) + " " +
              large);
    put.runBehind("KRScsiMODiskDrive::writeFile()", 6);
    ASSERT_TRUE(fs::exists(directoryIn(put, drive) + "/.krmo-incomplete/large"));
}
