#include "tests/system/LabTest.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lab/drives/Faults.h"
#include "lab/drives/Media.h"
#include "unix/KRUnixMODiskImpl.h"

/// Node and directory of each mount.
static std::vector<std::pair<std::string, std::string>> mounts()
{
    std::vector<std::pair<std::string, std::string>> found;
    std::ifstream table("/proc/self/mounts");
    for (std::string node, directory, rest; table >> node >> directory && std::getline(table, rest);)
        found.emplace_back(node, directory);
    return found;
}

// The library's waits, which it reaches through these symbols.
extern "C" unsigned int sleep(unsigned int seconds)
{
    LabTest::waits.push_back(seconds);
    if (const auto event = std::exchange(LabTest::duringWait, nullptr))
        event();
    return 0;
}

void ZOSLEEP_InTeRnAl(unsigned long milliseconds, const char* /*file*/, int /*line*/)
{
    LabTest::waits.push_back(static_cast<unsigned int>(milliseconds / 1000));
}

LabTest::LabTest()
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
    lab::restoreFiles();
    unmountAll();
    if (!drivesStay)
        drives.removeAll();
}

std::unique_ptr<KRHardDiskDrive> LabTest::open(const std::string& path)
{
    constexpr int removableHardDisk = 11001;
    KRScsiMODiskDrive* const drive = KRScsiMODiskDrive::instance(removableHardDisk, path, 7, true);
    return std::unique_ptr<KRHardDiskDrive>(dynamic_cast<KRHardDiskDrive*>(drive));
}

void LabTest::unmountAll()
{
    for (const auto& [node, directory] : mounts()) {
        if (directory.find("/KRMT") != std::string::npos)
            umount2(directory.c_str(), MNT_DETACH);
    }
}

std::string LabTest::mountOf(const std::string& node)
{
    for (const auto& [mounted, directory] : mounts()) {
        if (mounted == node)
            return directory;
    }
    return {};
}

std::string LabTest::namesOn(const lab::EmulatedDrive& drive)
{
    std::string names;
    for (const auto& [name, bytes] : lab::contentOf(drive.partitionNode(1)))
        names += (names.empty() ? "" : " ") + name;
    return names;
}

void LabTest::setRunning(const std::string& path, bool isRunning)
{
    const pid_t process = fork();
    if (process == 0)
        _exit(KRUnixMODiskImpl(path, "", 0, 0, true).StartStopUnit(isRunning ? 1 : 0, 0));
    waitpid(process, nullptr, 0);
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
