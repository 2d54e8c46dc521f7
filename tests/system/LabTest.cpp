#include "tests/system/LabTest.h"

#include <algorithm>
#include <utility>

#include <mntent.h>
#include <sys/mount.h>

std::vector<std::pair<int, std::string>> LabTest::log;
std::vector<unsigned int> LabTest::waits;
std::function<void()> LabTest::duringWait;

namespace {

struct Waits : LabTest {
    using LabTest::duringWait;
    using LabTest::waits;
};

struct MountEntry {
    std::string node;
    std::string directory;
};

std::vector<MountEntry> mounts()
{
    std::vector<MountEntry> found;
    FILE* const table = setmntent("/proc/self/mounts", "r");
    while (const mntent* entry = getmntent(table))
        found.push_back({entry->mnt_fsname, entry->mnt_dir});
    endmntent(table);
    return found;
}

} // namespace

// The library's waits, which it reaches through these symbols.
extern "C" unsigned int sleep(unsigned int seconds)
{
    Waits::waits.push_back(seconds);
    if (const auto event = std::exchange(Waits::duringWait, nullptr))
        event();
    return 0;
}

void ZOSLEEP_InTeRnAl(unsigned long milliseconds, const char* /*file*/, int /*line*/)
{
    Waits::waits.push_back(static_cast<unsigned int>(milliseconds / 1000));
}

LabTest::LabTest(const lab::EmulationSettings& settings) : drives(settings)
{
    log.clear();
    waits.clear();
    duringWait = nullptr;
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = [](int level, const long long&, const std::string& text) {
        const std::size_t prefix = text.rfind("Device [", 0) == 0 ? text.find("] - ") + 4 : 0;
        log.emplace_back(level, text.substr(prefix));
    };
}

LabTest::~LabTest()
{
    unmountAll();
    drives.setParameter("add_host", "-" + drives.parameter("add_host"));
}

std::unique_ptr<KRHardDiskDrive> LabTest::open(const std::string& path)
{
    constexpr int removableHardDisk = 11001;
    KRScsiMODiskDrive* const drive = KRScsiMODiskDrive::instance(removableHardDisk, path, 7, true);
    return std::unique_ptr<KRHardDiskDrive>(dynamic_cast<KRHardDiskDrive*>(drive));
}

void LabTest::unmountAll()
{
    for (const MountEntry& entry : mounts()) {
        if (entry.directory.find("/KRMT") != std::string::npos)
            umount2(entry.directory.c_str(), MNT_DETACH);
    }
}

std::string LabTest::mountOf(const std::string& node)
{
    for (const MountEntry& entry : mounts()) {
        if (entry.node == node)
            return entry.directory;
    }
    return {};
}

bool LabTest::wasLogged(int level, const std::string& text)
{
    return std::find(log.begin(), log.end(), std::make_pair(level, text)) != log.end();
}

std::string LabTest::lastError(const KRScsiMODiskDrive& drive)
{
    std::string text;
    const unsigned long code = drive.getLastError(text);
    return std::to_string(code) + ": " + text;
}
