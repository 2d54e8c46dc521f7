// What comes from outside, in any shape: listings, sense data, mount tables, paths. Each target is a function below;
// what stands before it takes the place of the system. A failed assertion ends the fuzzing, and the replay.

#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <cctype>
#include <cerrno>
#include <set>

#include <unistd.h>

#include "drive/KRScsiMODiskDrive.h"
#include "platform/SenseData.h"
#include "unix/FdiskListing.h"
#include "unix/KRUnixMODiskImpl.h"
#include "unix/PartedListing.h"

static bool isPlain(const std::string& text)
{
    return text.find_first_of("'\"\\$`;&|<>()[]{}*?!~#") == std::string::npos &&
           std::none_of(text.begin(), text.end(), [](unsigned char byte) { return std::iscntrl(byte) != 0; });
}

static KRUnixMODiskImpl backend("/dev/sg1", "", -1, 0, true);
static std::string fdiskText, partedText, table, command, logged;
static bool partedStarts;

extern "C" FILE* popen(const char* line, const char* mode)
{
    command = line;
    // The names of the mount table are the kernel's own; all others are to mean nothing else to a shell.
    assert(command.rfind("umount /dev/sdb", 0) == 0 || isPlain(command));
    if (line[0] == 'p' && !partedStarts)
        return nullptr;
    std::string& text = line[0] == 'p' ? partedText : fdiskText;
    FILE* const stream = fmemopen(text.data(), text.size(), mode);
    static char piece[64]; // of what arrives, from one byte on
    std::setvbuf(stream, piece, _IOFBF, 1 + text.size() % sizeof piece);
    return stream;
}

extern "C" int pclose(FILE* stream)
{
    return fclose(stream);
}

static std::string toText(const std::vector<DiskInfo>& disks, const std::vector<PartInfo>& partitions)
{
    std::string text;
    for (const DiskInfo& disk : disks)
        text += disk.diskName + "\n" + disk.diskSize + "\n" + disk.cylinders + "\n" + disk.heads + "\n" + disk.sectors +
                "\n";
    for (const PartInfo& part : partitions) {
        assert(isPlain(part.partName) && part.partName.find(' ') == std::string::npos);
        text += part.partName + "\n" + part.partSize + "\n" + part.partType + "\n" + part.partId + "\n";
    }
    return text;
}

/// What the library gets of a tool's text: lines, long ones in pieces of 255 bytes, each up to its first null byte.
static std::string asRead(const std::string& text)
{
    std::string read;
    for (std::size_t start = 0, end = 0; start < text.size(); start = end) {
        end = std::min({text.find('\n', start), start + 254, text.size() - 1}) + 1;
        const std::string piece = text.substr(start, end - start);
        read += piece.substr(0, piece.find('\0'));
    }
    return read;
}

/// The listing of fdisk, a record separator, the listing of parted; without the separator, parted can't be started.
static void Inventory(const std::string& input)
{
    fdiskText = input.substr(0, input.find('\x1e'));
    partedText = input.substr(std::min(fdiskText.size() + 1, input.size()));
    std::vector<DiskInfo> disks;
    std::vector<PartInfo> partitions;
    partedStarts = fdiskText.size() < input.size();
    const auto parted = [&](const auto& disk) {
        return partedStarts && (readPartedListing(asRead(partedText), disk, disks, partitions), true);
    };
    assert(FdiskListing(disks, partitions, parted).read(asRead(fdiskText)) == KRUnixMODiskImpl::scan());
    assert(toText(KRUnixMODiskImpl::_diskData, KRUnixMODiskImpl::_partData) == toText(disks, partitions));
}

static void Sense(const std::string& input)
{
    std::vector<unsigned char> data(input.begin(), input.end());
    const scsi::SenseBytes fixed = scsi::toFixedFormat(data.data(), data.size());
    assert(scsi::toFixedFormat(fixed.data(), fixed.size()) == fixed);
    const std::string trimmed = backend.trimSpaces(data.data(), static_cast<int>(data.size()));
    assert(trimmed == input.substr(0, input.find_last_not_of(" \t\n\v\f\r") + 1));
    backend.printData(data.data(), static_cast<int>(data.size()));
    data.resize(std::max<std::size_t>(data.size(), 14)); // the least that a caller has
    backend.printSense(data.data(), static_cast<int>(data.size()));
    assert(
        std::all_of(logged.begin(), logged.end(), [](char byte) { return byte == '\n' || (byte > 31 && byte < 127); }));
}

extern "C" FILE* setmntent(const char*, const char*) noexcept
{
    static FILE* stream = tmpfile();
    fclose(stream); // the library leaves it open
    return stream = fmemopen(table.data(), table.size(), "r");
}

static void MountTable(const std::string& input)
{
    table = input.substr(0, input.find('\0')) + "\n/dev/sdb1 /sdb1/KRMT vfat rw 0 0\n";
    assert(backend.checkIfAlredyMounted("/dev/sdb1", "/sdb1/KRMT") == 0);
    assert(KRUnixMODiskImpl::unmountDevicesByDiskName("/dev/sdb") == 0 && command == "umount /dev/sdb1");
}

static std::set<std::string> directories; // with a slash at the end

static std::string whole(const char* path)
{
    std::string text = path + std::string("/");
    const auto bothSlashes = [](char one, char next) { return one == '/' && next == '/'; };
    text.erase(std::unique(text.begin(), text.end(), bothSlashes), text.end());
    return text;
}

extern "C" int open(const char* path, int, ...)
{
    errno = std::string(path).find('?') != std::string::npos ? EIO : ENOENT;
    return directories.count(whole(path)) != 0 ? dup(STDERR_FILENO) : -1;
}

extern "C" int mkdir(const char* path, mode_t) noexcept
{
    const std::string name = whole(path);
    assert(directories.count(name.substr(0, name.rfind('/', name.size() - 2) + 1)) != 0); // parents come first
    errno = EEXIST;
    return directories.insert(name).second ? 0 : -1;
}

static void Directories(const std::string& path)
{
    directories = {"/", "/sdb1/"};
    if (path.empty())
        return;
    backend.SetErrorCode(0, "");
    const bool created = backend.createDirectory(path);
    assert(!created || directories.count(whole(path.c_str())) != 0);
    std::string reason;
    assert((backend.GetLastErrorCode(reason) != 0) == (!created && path[0] == '/')); // others are told to the log alone
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    command.clear();
    logged.clear();
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = [](int, const long long&, const std::string& text) {
        logged += text;
    };
    TARGET({data, data + size});
    return 0;
}
