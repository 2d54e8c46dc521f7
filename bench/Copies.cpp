// The tool's "put" against the system's own ways to bring files onto a medium. Sources lie in memory; each way ends
// when the data are on the medium.

#include <cstdint>
#include <filesystem>
#include <fstream>

#include "bench/LabDrive.h"
#include "bench/Pairs.h"

namespace {

namespace fs = std::filesystem;

constexpr int pairs = 20;
constexpr std::int64_t megabyte = 1'000'000;

/// A folder with so many files, of so many bytes together.
class Source {
public:
    explicit Source(const benchmark::State& state) : Source(state.range(0), state.range(1)) {}
    Source(std::int64_t files, std::int64_t bytes)
    {
        fs::remove_all(_folder);
        fs::create_directory(_folder);
        const std::string content(static_cast<std::size_t>(bytes / files), 'x');
        for (std::int64_t i = 0; i < files; ++i)
            std::ofstream(_folder / ("file" + std::to_string(i))) << content;
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() { fs::remove_all(_folder); }

    std::string folder() const { return _folder; }

private:
    fs::path _folder = "/dev/shm/source";
};

void put(const Source& source)
{
    run({KRMO_TOOL, "put", "--no-verify", "--quiet", LabDrive::instance().node(), source.folder()});
}

std::string copyOnMedium()
{
    return LabDrive::instance().directory() + "/source";
}

void clear()
{
    fs::remove_all(copyOnMedium());
    run({"sync"});
}

void putAgainstCp(benchmark::State& state)
{
    const Source source(state);
    LabDrive::instance().mount();
    const auto copy = [&] {
        run({"cp", "-r", source.folder(), copyOnMedium()});
        run({"sync"});
    };
    compare(state, TimeOf::everything, {[&] { put(source); }, copy, clear, clear});
    LabDrive::instance().unmount();
}

/// The medium is mounted for "put" and not for mcopy, which writes to the partition itself.
void putAgainstMcopy(benchmark::State& state)
{
    const Source source(state);
    const std::string partition = LabDrive::instance().partition();
    const auto copy = [&] {
        run({"mcopy", "-s", "-i", partition, source.folder(), "::"});
        run({"sync"});
    };
    const auto mountAndClear = [] {
        LabDrive::instance().mount();
        clear();
    };
    const auto clearAndUnmount = [&] {
        mountAndClear();
        LabDrive::instance().unmount();
    };
    compare(state, TimeOf::everything, {[&] { put(source); }, copy, mountAndClear, clearAndUnmount});
}

/// What "put" does where nobody has the medium mounted: it mounts, copies, mounts afresh, compares, and unmounts.
void comparedPutAgainstScript(benchmark::State& state)
{
    const Source source(state);
    LabDrive& drive = LabDrive::instance();
    drive.mount(); // makes the directory
    drive.unmount();
    const auto script = [&] {
        run({"mount", "-t", "vfat", drive.partition(), drive.directory()});
        run({"cp", "-rp", source.folder(), copyOnMedium()});
        run({"umount", drive.directory()});
        run({"mount", "-t", "vfat", drive.partition(), drive.directory()});
        run({"diff", "-r", source.folder(), copyOnMedium()});
        run({"umount", drive.directory()});
    };
    const auto clearAndUnmount = [&] {
        drive.mount();
        clear();
        drive.unmount();
    };
    const auto comparedPut = [&] { run({KRMO_TOOL, "put", "--quiet", drive.node(), source.folder()}); };
    compare(state, TimeOf::everything, {comparedPut, script, clearAndUnmount, clearAndUnmount});
}

void settings(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"files", "bytes"})->Args({1, 100 * megabyte})->Args({1000, 100 * megabyte});
    benchmark->UseManualTime()->Iterations(pairs)->Unit(benchmark::kMillisecond);
}

BENCHMARK(putAgainstCp)->Apply(settings)->Args({1, 1}); // what a "put" costs before the data
BENCHMARK(putAgainstMcopy)->Apply(settings);
BENCHMARK(comparedPutAgainstScript)->Apply(settings)->Args({1, 1})->Iterations(pairs / 2); // each takes long

} // namespace
