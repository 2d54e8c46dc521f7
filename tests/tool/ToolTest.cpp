#include "ToolTest.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <set>

#include "lab/drives/Command.h"
#include "lab/drives/Waiting.h"

namespace fs = std::filesystem;

namespace {

const std::string outputOfPut = "/tmp/krmo-put-output";

std::string contentOfFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ToolResult resultOf(int status, const std::string& output)
{
    return {WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), contentOfFile(output)};
}

} // namespace

ToolResult run(const std::string& arguments, const std::string& before)
{
    const std::string output = "/tmp/krmo-output";
    return resultOf(std::system((before + " " KRMO_TOOL " " + arguments + " >" + output + " 2>&1").c_str()), output);
}

::testing::AssertionResult ended(const ToolResult& result, int status, const std::string& said)
{
    const bool good = result.status == status && result.said.find(said) != std::string::npos;
    return (good ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
           << "ended with " << result.status << " and said\n"
           << result.said << "where status " << status << " and '" << said << "' were awaited";
}

ToolTest::ToolTest() : drives({200, 512, 0})
{
    fs::create_directories(folder + "/back");
}

ToolTest::~ToolTest()
{
    if (put != -1)
        finishPut(SIGKILL);
    drives.setParameter("opts", "0");
    for (const lab::EmulatedDrive& drive : drives.list())
        umount2(directoryOf(drive).c_str(), MNT_DETACH);
    drives.removeAll();
    fs::remove_all(folder);
}

std::string ToolTest::directoryOf(const lab::EmulatedDrive& drive)
{
    return "/" + fs::path(drive.partitionNode(1)).filename().string() + "/KRMT";
}

bool ToolTest::isMounted(const lab::EmulatedDrive& drive)
{
    return contentOfFile("/proc/mounts").find(" " + directoryOf(drive) + " ") != std::string::npos;
}

std::string ToolTest::file(const std::string& name, std::size_t bytes) const
{
    const fs::path path = folder + "/" + name;
    fs::create_directories(path.parent_path());
    std::mt19937_64 numbers(bytes);
    std::vector<std::uint64_t> data(bytes / sizeof(std::uint64_t) + 1);
    std::generate(data.begin(), data.end(), numbers);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(bytes));
    return path;
}

std::string ToolTest::contentOf(const lab::EmulatedDrive& drive)
{
    const std::string place = "/tmp/krmo-content";
    fs::create_directories(place);
    lab::runCommand({"mount", "-r", "-t", "vfat", drive.partitionNode(1), place});
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place))
        names.insert(entry.path().lexically_relative(place).string() + " ");
    lab::runCommand({"umount", place});
    return std::accumulate(names.begin(), names.end(), std::string());
}

void ToolTest::putAndStop(const lab::EmulatedDrive& drive)
{
    const std::string small = file("small", 10);
    const std::string large = file("large", 0);
    fs::resize_file(large, 100'000'000);
    put = fork();
    if (put == 0) {
        dup2(open(outputOfPut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
        execl(KRMO_TOOL, "krmo", "put", drive.genericNode.c_str(), small.c_str(), large.c_str(), "--to", "to", nullptr);
        _exit(127);
    }
    const std::string half = directoryOf(drive) + "/.krmo-incomplete/large";
    lab::waitUntil("data in " + half, [&half] {
        std::error_code error;
        return fs::file_size(half, error) > 0 && !error;
    });
    int status = 0;
    kill(put, SIGSTOP);
    ASSERT_EQ(put, waitpid(put, &status, WUNTRACED));
    ASSERT_TRUE(WIFSTOPPED(status) && fs::exists(half)) << "the copy was done too soon";
}

ToolResult ToolTest::finishPut(int signal)
{
    int status = 0;
    if (signal != 0)
        kill(put, signal);
    kill(put, SIGCONT);
    waitpid(put, &status, 0);
    put = -1;
    return resultOf(status, outputOfPut);
}
