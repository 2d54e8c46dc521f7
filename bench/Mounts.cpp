// Mounting and unmounting through the library against a shell script that runs the same commands.

#include <filesystem>
#include <fstream>

#include "bench/LabDrive.h"
#include "bench/Pairs.h"

namespace {

namespace fs = std::filesystem;

constexpr int pairs = 20;

/// How the script starts its commands.
enum class Start {
    directly,
    byShell ///< one for each command, as popen does
};

std::string writeScript(const std::string& name, Start start, const std::string& lastCommand)
{
    std::string path = fs::temp_directory_path() / name;
    std::ofstream script(path);
    for (const std::string& command : {std::string("/sbin/fdisk -l"), std::string("/sbin/fdisk -l"), lastCommand})
        script << (start == Start::byShell ? "sh -c '" + command + "'" : command) << " >/dev/null\n";
    return path;
}

/// The scripts mount where the library does; the directory is made by a mount before the measuring.
struct Scripts {
    explicit Scripts(Start start)
    {
        LabDrive& drive = LabDrive::instance();
        drive.mount();
        mount = writeScript("mount", start, "mount -t vfat " + drive.partition() + " " + drive.directory());
        unmount = writeScript("unmount", start, "umount " + drive.directory());
        drive.unmount();
    }

    std::string mount;
    std::string unmount;
};

void runScript(const std::string& path)
{
    run({"/bin/sh", path});
}

void mount(benchmark::State& state, Start start)
{
    const Scripts scripts(start);
    LabDrive::instance().mount();
    const auto unmount = [] { LabDrive::instance().unmount(); };
    compare(state, TimeOf::everything,
            {[] { LabDrive::instance().mount(); }, [&] { runScript(scripts.mount); }, unmount, unmount});
    unmount();
}

void unmount(benchmark::State& state, Start start)
{
    const Scripts scripts(start);
    const auto mount = [] { LabDrive::instance().mount(); };
    compare(state, TimeOf::everything,
            {[] { LabDrive::instance().unmount(); }, [&] { runScript(scripts.unmount); }, mount, mount});
}

void settings(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Iterations(pairs)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(mount, script, Start::directly)->Apply(settings);
BENCHMARK_CAPTURE(mount, scriptOfShells, Start::byShell)->Apply(settings);
BENCHMARK_CAPTURE(unmount, script, Start::directly)->Apply(settings);
BENCHMARK_CAPTURE(unmount, scriptOfShells, Start::byShell)->Apply(settings);

} // namespace

int main(int count, char** arguments)
{
    return runBenchmarks(count, arguments);
}
