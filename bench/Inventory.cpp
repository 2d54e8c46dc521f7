// The inventory: reading listings of few and of very many disks, and looking up the partitions of one.

#include <cstdio>
#include <cstring>
#include <string>

#include "bench/Listings.h"
#include "bench/Pairs.h"
#include "unix/FdiskListing.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

std::string printed; // by fdisk

std::size_t countLines(const std::string& text)
{
    std::size_t lines = 0;
    const char* position = text.data();
    const char* const end = position + text.size();
    while ((position = static_cast<const char*>(std::memchr(position, '\n', end - position))) != nullptr) {
        ++position;
        ++lines;
    }
    return lines;
}

std::size_t parse(const std::string& text)
{
    std::vector<DiskInfo> disks;
    std::vector<PartInfo> partitions;
    FdiskListing(disks, partitions, [](const std::string&) { return true; }).read(text);
    return disks.size() + partitions.size();
}

/// Small texts are read over and over, so that a measurement is longer than the clock's steps.
int rounds(const std::string& text)
{
    constexpr std::size_t enough = 1 << 20;
    return static_cast<int>(enough / text.size()) + 1;
}

template <class Read>
void readListing(benchmark::State& state, ListingKind kind, Read read)
{
    printed = makeListing(kind, static_cast<int>(state.range(0)));
    const int count = rounds(printed);
    const auto repeat = [count](auto once) {
        for (int i = 0; i < count; ++i)
            benchmark::DoNotOptimize(once());
    };
    compare(state, TimeOf::thread, {[&] { repeat(read); }, [&] { repeat([] { return countLines(printed); }); }});
    const double bytes = static_cast<double>(printed.size()) * count;
    constexpr double mega = 1e6;
    state.counters["MB/s"] = bytes / mega / state.counters["ours_s"];
}

/// The parser alone, over text in memory.
void parseListing(benchmark::State& state, ListingKind kind)
{
    readListing(state, kind, [] { return parse(printed); });
}

/// The whole scan: the stream of the tool's output is read, too. Only the tool is missing.
void scanListing(benchmark::State& state, ListingKind kind)
{
    readListing(state, kind, [] { return KRUnixMODiskImpl::scan(); });
}

void lookUp(benchmark::State& state)
{
    constexpr int partitions = 100000;
    constexpr int hits = 10;
    const std::string disk = "/dev/sdb";
    auto& all = KRUnixMODiskImpl::_partData;
    all.assign(partitions, {"/dev/sdc1", "4469968", "W95 FAT32 (LBA)", "c"});
    for (int i = 0; i < hits; ++i)
        all[static_cast<std::size_t>(i) * (partitions / hits)].partName = disk + std::to_string(i);
    const auto comparePrefixes = [&] {
        std::size_t found = 0;
        for (const PartInfo& partition : all)
            found += partition.partName.compare(0, disk.size(), disk) == 0 ? 1 : 0;
        benchmark::DoNotOptimize(found);
    };
    const auto getPartitions = [&] { benchmark::DoNotOptimize(KRUnixMODiskImpl::getPartDataByDiskName(disk)); };
    compare(state, TimeOf::thread, {getPartitions, comparePrefixes});
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(1000)->Arg(100000)->UseManualTime();
}

BENCHMARK_CAPTURE(parseListing, classic, ListingKind::classic)->Apply(sizes);
BENCHMARK_CAPTURE(parseListing, newer, ListingKind::newer)->Apply(sizes);
BENCHMARK_CAPTURE(scanListing, classic, ListingKind::classic)->Apply(sizes);
BENCHMARK_CAPTURE(scanListing, newer, ListingKind::newer)->Apply(sizes);
BENCHMARK(lookUp)->UseManualTime();

} // namespace

// The library's scan reads what this gives for the tool's output.
extern "C" FILE* popen(const char* /*line*/, const char* mode)
{
    return fmemopen(printed.data(), printed.size(), mode);
}

extern "C" int pclose(FILE* stream)
{
    return std::fclose(stream);
}
