// Files through the library against the bare system calls, on a memory file system.

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include "bench/Pairs.h"
#include "drive/KRHardDiskDrive.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

struct Backend : KRUnixMODiskImpl {
    Backend() : KRUnixMODiskImpl("/dev/sg1", "/sdb1/KRMT", -1, 0, true) { _handle = 3; }
};

/// A drive whose volume counts as open; there is no device.
struct Drive : KRHardDiskDrive {
    Drive() : KRHardDiskDrive("/dev/sg1", 11001, 7, true) { _impl = std::make_unique<Backend>(); }
};

class TemporaryFile {
public:
    TemporaryFile() : _descriptor(mkstemp(_name))
    {
        if (_descriptor == -1)
            throw std::runtime_error("there is no memory file system at /dev/shm");
        unlink(_name);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { close(_descriptor); }

    int descriptor() const { return _descriptor; }
    void rewind() const { lseek(_descriptor, 0, SEEK_SET); }

private:
    char _name[28] = "/dev/shm/krmo-bench-XXXXXX";
    int _descriptor;
};

enum class Direction {
    write,
    read
};

enum class Callback {
    none,
    empty
};

void listen(int /*level*/, const long long& /*deviceId*/, const std::string& /*text*/) {}

/// The file is as long as one round writes and is written over and over, so that no round allocates memory.
void fileCalls(benchmark::State& state, Direction direction, std::size_t length, int calls, Callback callback)
{
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = callback == Callback::none ? nullptr : listen;
    Drive drive;
    const TemporaryFile file;
    const int handle = file.descriptor();
    std::vector<char> buffer(length, 'x');
    const auto rounds = [&](auto call) {
        file.rewind();
        for (int i = 0; i < calls; ++i)
            benchmark::DoNotOptimize(call());
    };
    const auto write = [&] { return ::write(handle, buffer.data(), length); };
    const auto read = [&] { return ::read(handle, buffer.data(), length); };
    const auto writeFile = [&] { return drive.writeFile(handle, buffer.data(), length); };
    const auto readFile = [&] { return drive.readFile(handle, buffer.data(), length); };
    rounds(write);
    if (direction == Direction::write)
        compareCalls(state, {[&] { rounds(writeFile); }, [&] { rounds(write); }}, calls);
    else
        compareCalls(state, {[&] { rounds(readFile); }, [&] { rounds(read); }}, calls);
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = nullptr;
}

constexpr std::size_t large = 65536;
constexpr std::size_t small = 512;
constexpr double secondsOfMeasuring = 3;

BENCHMARK_CAPTURE(fileCalls, writeFile64K, Direction::write, large, 1024, Callback::none)
    ->UseManualTime()
    ->MinTime(secondsOfMeasuring);
BENCHMARK_CAPTURE(fileCalls, readFile64K, Direction::read, large, 1024, Callback::none)
    ->UseManualTime()
    ->MinTime(secondsOfMeasuring);
BENCHMARK_CAPTURE(fileCalls, writeFile512, Direction::write, small, 1000, Callback::none)
    ->UseManualTime()
    ->MinTime(secondsOfMeasuring);
BENCHMARK_CAPTURE(fileCalls, writeFile512WithCallback, Direction::write, small, 1000, Callback::empty)
    ->UseManualTime()
    ->MinTime(secondsOfMeasuring);

} // namespace

int main(int count, char** arguments)
{
    return runBenchmarks(count, arguments);
}
