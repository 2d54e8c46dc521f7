#include "platform/ScsiCommand.h"

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>

namespace scsi {

namespace {

constexpr int checkCondition = 0x02;
constexpr unsigned char recoveredError = 0x1;
constexpr unsigned char unitAttention = 0x6;
constexpr int transportFailure = 0x10000;

/// The waiting time as SG_IO takes it; one that is too long for it becomes its "for ever".
unsigned int milliseconds(int seconds)
{
    constexpr unsigned int millisecondsInSecond = 1000;
    constexpr unsigned int forEver = std::numeric_limits<unsigned int>::max();
    const auto count = static_cast<unsigned int>(seconds);
    return count > forEver / millisecondsInSecond ? forEver : count * millisecondsInSecond;
}

int direction(const Command& command)
{
    if (command.dataLength == 0)
        return SG_DXFER_NONE;
    return command.toDevice ? SG_DXFER_TO_DEV : SG_DXFER_FROM_DEV;
}

/// Lengths that the fields of SG_IO would cut to another value.
bool isExpressible(const Command& command)
{
    constexpr int longestCdb = std::numeric_limits<unsigned char>::max();
    return command.cdbLength > 0 && command.cdbLength <= longestCdb && command.dataLength >= 0;
}

/// The host status that a failure of the kernel's upper layers stands for: kernels before 5.14 tell some failures
/// in the driver status alone. 0 where there was none; that sense data is there (8) is no failure.
int hostStatusOf(int driverStatus)
{
    constexpr int withoutSuggestions = 0x0f;
    constexpr int timeOut = 0x06;
    constexpr int senseData = 0x08;
    constexpr int hostTimeOut = 0x03;
    constexpr int hostError = 0x07;
    const int failure = driverStatus & withoutSuggestions;
    if (failure == 0 || failure == senseData)
        return 0;
    return failure == timeOut ? hostTimeOut : hostError;
}

/// Keeps signals from the thread. SG_IO on a generic node ends with the first signal while its command goes on, and is
/// called again by the system where the handler was installed so: the command would reach the device twice.
///
/// The mask is set by the system call: the C library's own functions leave out the two signals that it uses itself,
/// for setuid in another thread and for pthread_cancel, and these interrupt SG_IO like any other.
class SignalsHeld {
public:
    SignalsHeld()
    {
        const Mask held = ~(bit(SIGSEGV) | bit(SIGBUS) | bit(SIGFPE) | bit(SIGILL)); // blocked, these end the process
        syscall(SYS_rt_sigprocmask, SIG_BLOCK, &held, &_before, sizeof held);
    }
    ~SignalsHeld()
    {
        const int error = errno; // handlers run in here
        syscall(SYS_rt_sigprocmask, SIG_SETMASK, &_before, nullptr, sizeof _before);
        errno = error;
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    using Mask = std::uint64_t; // the kernel's, on every architecture that this is built for
    static constexpr Mask bit(int signal) { return Mask{1} << (signal - 1); }

    Mask _before = 0;
};

/// The number of a device that went away is kept by a descriptor on which nothing can be done (O_PATH).
bool keepsPlaceOnly(int descriptor)
{
    const int flags = fcntl(descriptor, F_GETFL);
    return flags != -1 && (flags & O_PATH) != 0;
}

bool carryOut(int descriptor, sg_io_hdr& request)
{
    const SignalsHeld held;
    if (ioctl(descriptor, SG_IO, &request) == 0)
        return true;
    if (errno == EBADF && keepsPlaceOnly(descriptor))
        errno = ENODEV;
    return false;
}

/// What was not sent would be bytes of an earlier command: the generic node copies all of its buffer.
void clearUnsent(const sg_io_hdr& request, bool isLost)
{
    if (request.dxfer_direction != SG_DXFER_FROM_DEV)
        return;
    const auto length = static_cast<int>(request.dxfer_len);
    const int unsent = isLost ? length : std::clamp(request.resid, 0, length);
    std::fill_n(static_cast<unsigned char*>(request.dxferp) + length - unsent, unsent, static_cast<unsigned char>(0));
}

} // namespace

int Answer::result() const
{
    if (const int host = hostStatus != 0 ? hostStatus : hostStatusOf(driverStatus))
        return transportFailure | host;
    return status == checkCondition && isCurrent(sense, recoveredError) ? 0 : status;
}

bool Answer::isLost() const
{
    return (result() & transportFailure) != 0;
}

bool Answer::isUnitAttention() const
{
    return result() == checkCondition && isCurrent(sense, unitAttention);
}

bool Answer::tellsOfAnotherMedium() const
{
    constexpr unsigned char mediumMayHaveChanged = 0x28;
    constexpr unsigned char reset = 0x29;
    constexpr unsigned char parametersChanged = 0x2a;
    constexpr unsigned char capacityDataHasChanged = 0x09;
    const unsigned char additionalSense = sense[12];
    return isUnitAttention() && (additionalSense == mediumMayHaveChanged || additionalSense == reset ||
                                 (additionalSense == parametersChanged && sense[13] == capacityDataHasChanged));
}

std::optional<Answer> submit(int descriptor, const Command& command)
{
    if (!isExpressible(command)) {
        errno = EINVAL;
        return std::nullopt;
    }
    SenseBytes sense{};
    sg_io_hdr request{};
    request.interface_id = 'S';
    request.dxfer_direction = direction(command);
    request.cmd_len = static_cast<unsigned char>(command.cdbLength);
    request.mx_sb_len = static_cast<unsigned char>(sense.size());
    request.dxfer_len = static_cast<unsigned int>(command.dataLength);
    request.dxferp = command.data;
    request.cmdp = static_cast<unsigned char*>(const_cast<void*>(command.cdb));
    request.sbp = sense.data();
    request.timeout = milliseconds(command.timeoutSeconds);
    if (!carryOut(descriptor, request))
        return std::nullopt;
    const Answer answer{request.host_status, request.driver_status, request.status,
                        toFixedFormat(sense.data(), request.sb_len_wr)};
    clearUnsent(request, answer.isLost());
    return answer;
}

} // namespace scsi
