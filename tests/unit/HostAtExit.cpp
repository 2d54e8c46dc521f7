// A host that loads the library by dlopen, more than once, and whose drives are used to the very end: after the
// library's exit handlers, by an object of its own and by a thread. Its base library has a class KrCriticalSection.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

#include <dlfcn.h>
#include <semaphore.h>
#include <unistd.h>

#include "drive/KRScsiMODiskDrive.h"
#include "platform/UXScsi.h"

static std::atomic<int> allocated;

void* operator new(std::size_t size)
{
    ++allocated;
    return std::malloc(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    allocated -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

class KrCriticalSection {
public:
    KrCriticalSection();
};

KrCriticalSection::KrCriticalSection()
{
    std::fputs("the library made the host's own lock\n", stderr);
    _exit(1);
}

// The drive and the tools, for which this executable stands in.
struct UXScsiTarget::State {};
UXScsiTarget::UXScsiTarget(const char*, bool) {}
UXScsiTarget::UXScsiTarget(const UXScsiTarget&) {}
UXScsiTarget::~UXScsiTarget() = default;
UXScsi::Device::Device(const UXScsiTarget& target) : _target(target) {}
UXScsi::Device::~Device() = default;

int UXScsi::open(UXScsiTarget&, int)
{
    return 0;
}

int UXScsiTarget::getFD() const
{
    return 7;
}

std::string UXScsiTarget::getNativePath() const
{
    return "/dev/sdb";
}

extern "C" FILE* popen(const char*, const char* mode)
{
    static char listing[] = "/dev/sdb1 1 1015 2234984 c FAT32\n";
    return fmemopen(listing, std::strlen(listing), mode);
}

extern "C" int pclose(FILE* stream)
{
    return fclose(stream);
}

namespace {

using Drive = std::unique_ptr<KRScsiMODiskDrive>;

struct Host {
    ~Host();

    void* loaded = nullptr;
    Drive drive, other;
    std::thread reader;
    int pipe[2] = {};
    sem_t reading = {};
    char byte = 0;
    std::string told;
} host; // its end comes after that of what dlopen brings in

Drive openDrive()
{
    const auto symbol = [](const char* name) { return dlsym(host.loaded, name); };
    auto* const callback = symbol("_ZN17KRScsiMODiskDrive26m_gpLogMessageCallbackFuncB5cxx11E");
    *static_cast<KRScsiMODiskDrive::LogMessageCallback*>(callback) = [](int, const long long&,
                                                                        const std::string& text) {
        host.told += text + "\n";
        if (text.find("read_file().") != std::string::npos)
            sem_post(&host.reading);
    };
    const auto instance = reinterpret_cast<decltype(&KRScsiMODiskDrive::instance)>(
        symbol("_ZN17KRScsiMODiskDrive8instanceEiRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERKxb"));
    return Drive(instance(11001, "/dev/sg1", 1, true));
}

bool load()
{
    host.loaded = dlopen(KRMO_LIBRARY, RTLD_NOW);
    return host.loaded != nullptr;
}

/// @return whether nothing stays when the library has been used and is gone.
bool loadsWithoutLeak()
{
    const int before = allocated;
    const bool used = load() && openDrive() != nullptr;
    dlclose(host.loaded);
    std::string().swap(host.told);
    const auto isLoaded = [](const char* name) { return dlopen(name, RTLD_NOW | RTLD_NOLOAD) != nullptr; };
    // The platform stays: it has open descriptors of the drives, which the next krmo goes on with.
    return used && !isLoaded(KRMO_LIBRARY) && isLoaded(KRMO_PLATFORM) && allocated == before;
}

Host::~Host()
{
    if (!reader.joinable())
        _exit(1);
    told.clear();
    const bool goesOn = write(pipe[1], "x", 1) == 1;
    reader.join();
    other->close();
    other->readFile(0, &byte, 1);
    std::string text;
    told += std::to_string(other->getLastError(text)) + " " + text + "\n";
    const std::string expected = "Device [/dev/sg1] - In call KRScsiMODiskDrive::readFile().\n"
                                 "Device [/dev/sg1] - In call KRUnixMODiskImpl::read_file().\n"
                                 "Device [/dev/sg1] - This file handle value is inconsistent in read_file()\n"
                                 "Device [/dev/sg1] - Invalid argument\n"
                                 "Device [/dev/sg1] - In call KRScsiMODiskDrive::close().\n"
                                 "Device [/dev/sg1] - In call KRScsiMODiskDrive::readFile().\n"
                                 "994 KRScsiMODiskDrive::readFile(): can't access the device.\n";
    if (told != expected)
        std::fprintf(stderr, "told at the end:\n%s", told.c_str());
    _exit(goesOn && told == expected ? 0 : 1);
}

} // namespace

int main()
{
    if (!loadsWithoutLeak()) {
        std::fputs("the library can't be loaded and unloaded without a leak\n", stderr);
        return 1;
    }
    if (!load() || pipe(host.pipe) != 0)
        return 1;
    host.drive = openDrive();
    host.other = openDrive();
    host.reader = std::thread([] {
        host.drive->readFile(host.pipe[0], &host.byte, 1); // until the host's end begins
        host.drive->readFile(-1, &host.byte, 1);
    });
    sem_wait(&host.reading);
    return 0;
}
