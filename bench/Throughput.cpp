// 100 MB through an emulated drive: how fast the lab's media are for whoever reads and writes them. Buffered by the
// kernel, against the same with no cache between.

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "bench/Pairs.h"
#include "lab/drives/EmulatedDrives.h"

namespace {

constexpr int pairs = 20;
constexpr std::size_t blockLength = 1 << 20;
constexpr int blocks = 100;
constexpr std::size_t alignment = 4096; // for what is read and written with no cache between

using Buffer = std::unique_ptr<char, decltype(&free)>;

void check(bool succeeded, const char* step)
{
    if (!succeeded)
        throw std::system_error(errno, std::generic_category(), step);
}

/// A drive of its own, for what is on its medium is overwritten.
const std::string& node()
{
    static const std::string name = lab::EmulatedDrives().add(lab::parseDrive("size=128,fs=none")).blockNode;
    return name;
}

/// All that is on the medium.
class Medium {
public:
    explicit Medium(int flags) : _descriptor(open(node().c_str(), flags | O_CLOEXEC))
    {
        check(_descriptor != -1, "open");
        check(_buffer != nullptr, "buffer");
    }
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;
    ~Medium() { close(_descriptor); }

    void write()
    {
        for (int i = 0; i < blocks; ++i)
            check(::write(_descriptor, _buffer.get(), blockLength) == blockLength, "write");
        check(fsync(_descriptor) == 0, "flush");
    }

    void read()
    {
        for (int i = 0; i < blocks; ++i)
            check(::read(_descriptor, _buffer.get(), blockLength) == blockLength, "read");
    }

    void forget() { check(posix_fadvise(_descriptor, 0, 0, POSIX_FADV_DONTNEED) == 0, "empty the cache"); }

private:
    int _descriptor;
    Buffer _buffer = Buffer(static_cast<char*>(aligned_alloc(alignment, blockLength)), &free);
};

void forget()
{
    Medium(O_RDONLY).forget();
}

void writeAndFlush(benchmark::State& state)
{
    compare(state, TimeOf::everything,
            {[] { Medium(O_WRONLY).write(); }, [] { Medium(O_WRONLY | O_DIRECT).write(); }, forget, forget});
}

void readCold(benchmark::State& state)
{
    compare(state, TimeOf::everything,
            {[] { Medium(O_RDONLY).read(); }, [] { Medium(O_RDONLY | O_DIRECT).read(); }, forget, forget});
}

void settings(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Iterations(pairs)->Unit(benchmark::kMillisecond);
}

BENCHMARK(writeAndFlush)->Apply(settings);
BENCHMARK(readCold)->Apply(settings);

} // namespace
