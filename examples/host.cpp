// A host of the library from its first call to its last: what an integrator reads first.
//
//     krmo-host /dev/disk/by-id/usb-Vendor_Product_1234-0:0 ...
//
// or /dev/sg1, /dev/sdb, H:C:T:L, any of which can be another drive's after a restart.
//
// Needs root. The library's own lines stand in brackets. Ends with 0 when every step on every drive gave what it
// should.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "drive/KRHardDiskDrive.h"
#include "platform/KRMediaCodes.h"

namespace {

constexpr int createIfMissing = 0;
constexpr std::size_t blockLength = 1 << 20;

void printLine(int level, const long long& deviceId, const std::string& text)
{
    std::printf("    [%2d %2lld] %s\n", level, deviceId, text.c_str());
}

/// Tells a step that failed. The code can be 0: not every failure leaves one, the log has the rest.
bool failed(const KRScsiMODiskDrive& drive, const char* step)
{
    std::string text;
    const unsigned long code = drive.getLastError(text);
    std::printf("%s FAILED: %lu: %s\n", step, code, text.c_str());
    return false;
}

/// Writes the data to a file, or reads them from it. The counts alone tell whether that works, and the drive keeps no
/// code of a failure: a full medium gives a smaller count, a failed write -1, and a failed read its errno, which could
/// be taken for a count of a few bytes. So whatever is not what was asked for is a failure.
bool transfer(KRScsiMODiskDrive& drive, const std::string& path, int accessMode, std::vector<char>& data)
{
    const int handle = drive.createFile(path, accessMode, createIfMissing);
    if (handle <= 0)
        return failed(drive, "createFile");
    const auto step =
        accessMode == KRAccessMode::forReading ? &KRScsiMODiskDrive::readFile : &KRScsiMODiskDrive::writeFile;
    std::size_t done = 0;
    while (done < data.size()) {
        const std::size_t length = std::min(blockLength, data.size() - done);
        const std::size_t count = (drive.*step)(handle, data.data() + done, length);
        if (count != length)
            break;
        done += count;
    }
    drive.closeHandle(handle);
    return done == data.size() || failed(drive, accessMode == KRAccessMode::forReading ? "readFile" : "writeFile");
}

/// Mounts the medium. Where this fails, stop: the mount path is a plain directory of the root file system then, and
/// a backup written there fills that.
bool mount(KRScsiMODiskDrive& drive)
{
    if (drive.mount() != 0)
        return failed(drive, "mount");
    std::printf("mounted %s on %s\n", drive.getDevicePath().c_str(), drive.getMountPath().c_str());
    return true;
}

bool useDrive(KRHardDiskDrive& drive)
{
    std::string serial;
    if (drive.getSerialNumber(serial) != 0)
        return failed(drive, "getSerialNumber");
    std::printf("serial number %s\n", serial.c_str());
    if (!mount(drive))
        return false;

    const std::string directory = drive.getMountPath() + "/backup/today";
    std::vector<char> data(5'000'000);
    std::generate(data.begin(), data.end(), std::mt19937());
    if (drive.createDir(directory) != 0)
        return failed(drive, "createDir");
    if (!transfer(drive, directory + "/data.bin", KRAccessMode::forReadingAndWriting, data))
        return false;
    std::printf("wrote %zu bytes to %s/data.bin\n", data.size(), directory.c_str());

    // Unmounting brings the data to the medium; what is read after a new mount comes from there.
    if (drive.unmount() != 0)
        return failed(drive, "unmount");
    std::vector<char> readBack(data.size());
    if (!mount(drive) || !transfer(drive, directory + "/data.bin", KRAccessMode::forReading, readBack))
        return false;
    std::printf("read them back: %s\n", readBack == data ? "the same" : "THEY DIFFER");

    KRQuadWord available;
    KRQuadWord free;
    if (!drive.getDiscFreeSpace(available, free))
        return failed(drive, "getDiscFreeSpace");
    std::printf("%llu bytes available\n", static_cast<unsigned long long>(available));

    // Unmounts, lets the medium go, stops the drive and ejects. It wants a mounted medium: without one it ends early.
    if (drive.unload() != 0)
        return failed(drive, "unload");
    std::printf("unloaded and ejected\n");
    return readBack == data;
}

} // namespace

int main(int argc, char** argv)
{
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = printLine;
    bool good = argc > 1;
    for (int i = 1; i < argc; ++i) {
        std::printf("--- drive %s\n", argv[i]);
        std::unique_ptr<KRScsiMODiskDrive> drive(
            KRScsiMODiskDrive::instance(KRDeviceType::firstHardDisk, argv[i], i, true));
        auto* const hardDisk = dynamic_cast<KRHardDiskDrive*>(drive.get());
        if (hardDisk == nullptr)
            std::printf("can't open %s; the lines above tell why\n", argv[i]);
        good = hardDisk != nullptr && useDrive(*hardDisk) && good;
    }
    return good ? 0 : 1;
}
