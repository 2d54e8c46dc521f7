#include "tool/LibraryLog.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <utility>

#include "drive/KRScsiMODiskDrive.h"
#include "tool/Descriptor.h"
#include "tool/Text.h"

namespace tool {

namespace {

/// The callback is a plain function, so what it keeps belongs to the process.
struct Heard {
    std::string failure; ///< the last line of level 0 or less: what failed
    std::string reason;  ///< the last line of level 1: the system's or the drive's reason
    std::string words;   ///< of the programs
    Descriptor file;
    bool toStandardError = false;
    std::array<Descriptor, 3> standard; ///< the true descriptors 0 to 2, during a call
    Descriptor kept;
};

Heard heard;

std::string timeText()
{
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const auto seconds = static_cast<time_t>(now / 1000);
    struct tm local {};
    localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::snprintf(text.data() + length, text.size() - length, ".%03d", static_cast<int>(now % 1000));
    return text.data();
}

/// A log that can't be written ends nothing: there is nobody to tell.
void writeTo(int descriptor, const std::string& text)
{
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    static_cast<void>(written);
}

void write(const std::string& text)
{
    const Descriptor& kept = heard.standard[STDERR_FILENO];
    const int standardError = kept.isOpen() ? kept.number() : STDERR_FILENO;
    if (heard.toStandardError)
        writeTo(standardError, isatty(standardError) == 1 ? escapedLines(text) : text);
    if (heard.file.isOpen())
        writeTo(heard.file.number(), text);
}

/// "Device [/dev/sg1] - text" gives "text".
std::string withoutDevice(const std::string& text)
{
    const std::size_t end = text.find("] - ");
    return text.compare(0, 8, "Device [") == 0 && end != std::string::npos ? text.substr(end + 4) : text;
}

void hear(int level, const long long& deviceId, const std::string& text)
{
    heard.words.clear(); // they belong to an earlier call
    if (level > 1 && heard.failure.empty())
        heard.reason.clear(); // of something that succeeded
    if (level <= 1)
        (level <= 0 ? heard.failure : heard.reason) = withoutDevice(text);
    if (heard.file.isOpen() || heard.toStandardError)
        write(timeText() + " [" + std::to_string(level) + " " + std::to_string(deviceId) + "] " + text + "\n");
}

/// The library reads `errno` after it has logged.
void hearKeepingError(int level, const long long& deviceId, const std::string& text)
{
    const int error = errno;
    hear(level, deviceId, text);
    errno = error;
}

std::string contentOf(const Descriptor& file)
{
    std::string text(static_cast<std::size_t>(lseek(file.number(), 0, SEEK_END)), '\0');
    const ssize_t count = pread(file.number(), text.data(), text.size(), 0);
    return trimmed(text.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0));
}

int required(int descriptor)
{
    if (descriptor == -1)
        throw systemFailure("descriptors", errno);
    return descriptor;
}

std::string joined(const std::string& first, const char* separator, const std::string& second)
{
    return first.empty() || second.empty() ? first + second : first + separator + second;
}

} // namespace

void listenToLibrary(const std::string& file, bool toStandardError)
{
    heard.toStandardError = toStandardError || file == "-";
    if (!file.empty() && file != "-") {
        // A FIFO without a reader fails, and one whose reader stands still loses lines: nothing waits for a log.
        heard.file = Descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0666));
        if (!heard.file.isOpen() && errno == ENXIO)
            throw Failure(statusNotThere, file + ": nobody reads what is written there");
        if (!heard.file.isOpen())
            throw systemFailure(file, errno);
    }
    KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = hearKeepingError;
}

LibraryCall::LibraryCall()
{
    heard.failure.clear();
    heard.reason.clear();
    std::fflush(nullptr);
    const Descriptor nothing(required(open("/dev/null", O_RDONLY | O_CLOEXEC)));
    Descriptor kept(required(memfd_create("words", MFD_CLOEXEC)));
    std::array<Descriptor, 3> standard;
    for (std::size_t number = 0; number < standard.size(); ++number)
        standard[number] = Descriptor(required(fcntl(static_cast<int>(number), F_DUPFD_CLOEXEC, 0)));
    // Nothing fails from here on: a failure could not be told without standard error.
    heard.standard = std::move(standard);
    heard.kept = std::move(kept);
    dup2(nothing.number(), STDIN_FILENO);
    dup2(heard.kept.number(), STDOUT_FILENO);
    dup2(heard.kept.number(), STDERR_FILENO);
}

LibraryCall::~LibraryCall()
{
    std::fflush(nullptr);
    for (std::size_t number = 0; number < heard.standard.size(); ++number) {
        dup2(heard.standard[number].number(), static_cast<int>(number));
        heard.standard[number].close();
    }
    heard.words = contentOf(heard.kept);
    heard.kept.close();
    if (!heard.words.empty())
        write(heard.words + "\n");
}

Failure libraryFailure(const std::string& subject)
{
    // Level 1 is also logged on success: it counts beside a failure, or where no program said anything.
    const bool useReason = !heard.failure.empty() || heard.words.empty();
    const std::string text = joined(heard.failure, ": ", useReason ? heard.reason : "");
    return {statusDeviceFailed, joined(joined(subject, ": ", text), "\n", heard.words)};
}

Failure libraryFailure(const std::string& subject, const KRScsiMODiskDrive& drive)
{
    std::string text;
    const unsigned long code = drive.getLastError(text);
    if (code == 0)
        return libraryFailure(subject);
    return {statusDeviceFailed,
            joined(joined(std::to_string(code) + ": " + text, "\n", heard.failure), "\n", heard.words)};
}

} // namespace tool
