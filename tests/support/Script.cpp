#include "tests/support/Script.h"

#include <filesystem>
#include <fstream>

#include "drive/KRScsiMODiskDrive.h"

static void record(int level, const long long& deviceId, const std::string& text)
{
    const std::string prefix = "Device [/dev/sg1] -";
    const std::string shown = text.rfind(prefix, 0) == 0 ? "@" + text.substr(prefix.size()) : text;
    note(std::to_string(level) + " " + std::to_string(deviceId) + " " + shown);
    if (script.callbackError != 0)
        errno = script.callbackError;
}

void note(const std::string& event)
{
    events += event + "\n";
}

void LibraryTest::reset()
{
    EXPECT_EQ(script.targets.use_count(), 1) << "every target is to be released";
    char root[] = "/tmp/krmo-test-XXXXXX";
    script = Script();
    script.root = {new std::string(mkdtemp(root)), [](auto* path) { std::filesystem::remove_all(*path), delete path; }};
    script.tools["/sbin/fdisk -l"] = "Disk /dev/sdb: 9 bytes\n71 heads, 62 sectors/track, 1015 cylinders\n"
                                     "/dev/sdb1 * 1 1015 2234984 c FAT32\n/dev/sdb2 1016 1020 10 83 Linux\n";
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = record;
    KRUnixMODiskImpl::bExceptionCaught = false;
    events.clear();
}

std::string LibraryTest::recorded(const std::string& fileName)
{
    std::ifstream file(KRMO_TEST_DATA "/" + fileName);
    return {std::istreambuf_iterator<char>(file), {}};
}

static std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

std::string LibraryTest::run(const Case& test, bool signals)
{
    reset();
    script.signals = signals;
    test.given();
    Backend backend("/sdb1/KRMT");
    note("# " + test.name);
    std::string result = "thrown";
    std::string text;
    try {
        result = std::to_string(test.when(backend));
    } catch (...) {
    }
    const unsigned long code = backend.GetLastErrorCode(text);
    result += KRUnixMODiskImpl::bExceptionCaught ? ", caught" : "";
    return events + "= " + result + ", " + std::to_string(code) + " " + text + "\n";
}

void LibraryTest::check(const std::string& name, const std::vector<Case>& cases)
{
    for (const bool signals : {false, true}) {
        std::string happened;
        const std::ptrdiff_t openBefore = openDescriptors();
        for (const Case& test : cases)
            happened += run(test, signals);
        EXPECT_EQ(openDescriptors(), openBefore) << "what was opened is closed";
        EXPECT_EQ(happened, recorded(name + ".trace")) << (signals ? "with signals" : "");
    }
}
