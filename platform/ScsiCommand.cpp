#include "platform/ScsiCommand.h"

#include <scsi/sg.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <limits>

namespace scsi {

namespace {

constexpr int checkCondition = 0x02;
constexpr unsigned char recoveredError = 0x1;
constexpr unsigned char unitAttention = 0x6;

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

} // namespace

int Answer::result() const
{
    constexpr int transportFailure = 0x10000;
    if (const int host = hostStatus != 0 ? hostStatus : hostStatusOf(driverStatus))
        return transportFailure | host;
    return status == checkCondition && isCurrent(sense, recoveredError) ? 0 : status;
}

bool Answer::isUnitAttention() const
{
    return result() == checkCondition && isCurrent(sense, unitAttention);
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
    if (ioctl(descriptor, SG_IO, &request) == -1)
        return std::nullopt;
    return Answer{request.host_status, request.driver_status, request.status,
                  toFixedFormat(sense.data(), request.sb_len_wr)};
}

} // namespace scsi
