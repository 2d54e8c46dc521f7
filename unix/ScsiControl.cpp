// Control of the drive: the SCSI commands, the lock on the volume, and load, unload, eject and serial number,
// which are made of them.

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "backend/HostLog.h"
#include "platform/KrException.h"
#include "platform/UXScsi.h"
#include "platform/ZOSleep.h"
#include "unix/CaughtException.h"
#include "unix/Command.h"
#include "unix/DriveOpening.h"
#include "unix/KRUnixMODiskImpl.h"

namespace {

enum OperationCode : unsigned char { // SPC, SBC
    testUnitReady = 0x00,
    inquiry = 0x12,
    startStopUnit = 0x1b,
    preventAllowMediumRemoval = 0x1e,
};

constexpr unsigned long settleMilliseconds = 10000;

using Cdb = std::array<unsigned char, 6>;

/// One command to a drive: the device, from its building to the end of what is told about the command.
class ScsiCommand {
public:
    static constexpr int senseLength = 28;

    explicit ScsiCommand(const std::string& devicePath) : _device(UXScsiTarget(devicePath.c_str(), false)) {}

    /// The LUN as SCSI-2 drives want it: in the upper three bits of byte 1.
    unsigned char lunBits() const { return static_cast<unsigned char>(_device.target().getLun() << 5); }

    /// Sends the command; what comes back goes into `data`. @return the status, 0 for success.
    int send(const Cdb& cdb, void* data, int dataLength)
    {
        return UXScsi::send(_device.target(), cdb.data(), static_cast<int>(cdb.size()), data, dataLength, false, true,
                            _sense, senseLength, -1);
    }

    const unsigned char* sense() const { return _sense; }

private:
    UXScsi::Device _device;
    unsigned char _sense[senseLength]; // filled by the pass-through layer
};

/// What there is to say about a unit command.
struct UnitCommandTexts {
    const char* success;
    const char* failure; // followed by the status
    int failureLevel;
    int exceptionLevel;
    const char* exception;
};

// The levels differ from command to command, and stopping tells "Dismounted" whatever its bits: hosts sort by these.
const UnitCommandTexts testUnitReadyTexts = {
    "Test unit ready command succeeded with status 0.",
    "TEST_UNIT_READY command failed with status ",
    backendLevel,
    backendLevel,
    "KRUnixMODiskImpl::WaitforUnitReady caught the exception",
};
const UnitCommandTexts startStopTexts = {
    "Dismounted the volume.",
    "START STOP UNIT command failed with status ",
    statusLevel,
    errorLevel,
    "KRUnixMODiskImpl::StartStopUnit caught the exception",
};
const UnitCommandTexts preventAllowTexts = {
    "Prevent Allow Removal - Success.",
    "PREVENT REMOVAL OF VOLUME command failed with status ",
    statusLevel,
    backendLevel,
    "KRUnixMODiskImpl::PreventRemovalOfVolume caught the exception",
};

/// Sends a unit command, which has no data, and tells the outcome. `makeCdb` gets the command, for the LUN bits.
template <class MakeCdb>
int sendUnitCommand(KRUnixMODiskImpl& backend, const std::string& devicePath, const UnitCommandTexts& texts,
                    MakeCdb makeCdb)
{
    try {
        ScsiCommand command(devicePath);
        const int status = command.send(makeCdb(command), nullptr, 0);
        if (status == 0) {
            backend.LogEventMessage(traceLevel, texts.success);
            return 0;
        }
        backend.LogEventMessage(texts.failureLevel, texts.failure + std::to_string(status));
        backend.printSense(command.sense(), ScsiCommand::senseLength);
    } catch (const KrException& exception) {
        recordException(backend, texts.exceptionLevel, exception, texts.exception);
    }
    return -1;
}

} // namespace

int KRUnixMODiskImpl::WaitforUnitReady(int /*timeoutSeconds*/, unsigned long* /*scratch*/)
{
    return sendUnitCommand(*this, _devicePath, testUnitReadyTexts, [](const ScsiCommand& command) {
        return Cdb{testUnitReady, command.lunBits()};
    });
}

int KRUnixMODiskImpl::StartStopUnit(int start, int loadEject)
{
    const auto bits = static_cast<unsigned char>((start != 0 ? 1 : 0) | (loadEject != 0 ? 2 : 0));
    return sendUnitCommand(*this, _devicePath, startStopTexts, [bits](const ScsiCommand& /*command*/) {
        return Cdb{startStopUnit, 0, 0, 0, bits}; // without the LUN, unlike the others: meant so
    });
}

int KRUnixMODiskImpl::PreventRemovalOfVolume(int prevent)
{
    const unsigned char bit = prevent != 0 ? 1 : 0;
    return sendUnitCommand(*this, _devicePath, preventAllowTexts, [bit](const ScsiCommand& command) {
        return Cdb{preventAllowMediumRemoval, command.lunBits(), 0, 0, bit};
    });
}

bool KRUnixMODiskImpl::openDevice()
{
    const auto log = [this](int level, const std::string& text) { LogEventMessage(level, text); };
    try {
        const DriveOpening opening(_devicePath);
        if (opening.report(backendLevel, errorLevel, log)) {
            setNativePath(opening.nativePath());
            return true;
        }
        Err_Handler(static_cast<unsigned int>(errno));
        sleep(DriveOpening::waitSeconds);
        return true; // mounting and unmounting go on with what they can find out: hosts rely on their codes
    } catch (const KrException& exception) {
        recordException(*this, backendLevel, exception, "KRUnixMODiskImpl::openDevice caught the exception");
        return false;
    }
}

int KRUnixMODiskImpl::setRecordLock(short type)
{
    constexpr int tries = 20;
    constexpr unsigned int waitSeconds = 1500;
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::LockVolume()."); // for unlocking, too
    struct flock record {};
    record.l_type = type;
    record.l_whence = SEEK_SET;
    record.l_pid = getpid();
    for (int i = 0; i < tries; ++i) {
        if (fcntl(_handle, F_SETLK, &record) == 0)
            return 0;
        sleep(waitSeconds);
    }
    Err_Handler(static_cast<unsigned int>(errno));
    LogEventMessage(errorLevel, _errorText);
    return -1;
}

int KRUnixMODiskImpl::LockVolume()
{
    return setRecordLock(F_WRLCK);
}

int KRUnixMODiskImpl::UnlockVolume()
{
    return setRecordLock(F_UNLCK);
}

bool KRUnixMODiskImpl::DoLoad(unsigned long timeoutSeconds)
{
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::DoLoad().");
    unsigned long scratch = 0;
    if (WaitforUnitReady(static_cast<int>(timeoutSeconds), &scratch) != 0)
        return false;
    ZOSLEEP_InTeRnAl(settleMilliseconds, __FILE__, __LINE__);
    return true;
}

bool KRUnixMODiskImpl::DoUnload(unsigned long timeoutSeconds)
{
    LogEventMessage(traceLevel, "In call KRUnixMODiskImpl::DoUnload().");
    unsigned long scratch = 0;
    if (WaitforUnitReady(static_cast<int>(timeoutSeconds), &scratch) != 0)
        return false;
    ZOSLEEP_InTeRnAl(settleMilliseconds, __FILE__, __LINE__);
    return DoUnMount() && PreventRemovalOfVolume(0) != -1 && StartStopUnit(0, 0) != -1;
}

bool KRUnixMODiskImpl::DoEject(unsigned long /*timeoutSeconds*/)
{
    Command command("eject -s " + getNativePath());
    if (!command.started()) {
        LogEventMessage(backendLevel, "popen Error for eject");
        Err_Handler(static_cast<unsigned int>(errno));
        return false;
    }
    if (command.readAll().empty())
        return true;
    LogEventMessage(backendLevel, "Failed to eject device :: " + getNativePath());
    errno = EINVAL;
    Err_Handler(static_cast<unsigned int>(errno));
    command.abandon(); // meant so: an eject that complains is not waited for
    return false;
}

bool KRUnixMODiskImpl::DoErase(const std::string& /*what*/)
{
    return true;
}

bool KRUnixMODiskImpl::GetDeviceSerialNumber(std::string& serial)
{
    constexpr unsigned char vitalProductData = 0x01;
    constexpr unsigned char unitSerialNumberPage = 0x80;
    constexpr int dataLength = 128;
    constexpr int headerLength = 4;
    constexpr int dumpLength = 27; // whatever the page's length

    LogEventMessage(traceLevel, "call KRUnixMODiskImpl::GetDeviceSerialNumber()");
    ScsiCommand command(_devicePath);
    std::array<unsigned char, dataLength> data{};
    const auto lunAndPage = static_cast<unsigned char>(command.lunBits() | vitalProductData);
    const int status =
        command.send({inquiry, lunAndPage, unitSerialNumberPage, 0, dataLength, 0}, data.data(), dataLength);
    if (status != 0) {
        LogEventMessage(statusLevel, "INQUIRY command failed with status " + std::to_string(status));
        printSense(command.sense(), ScsiCommand::senseLength);
        printData(data.data(), dumpLength);
        return false;
    }
    LogEventMessage(traceLevel, "Inquiry Command Succeeded");
    printData(data.data(), dumpLength);
    const int pageLength = std::min<int>(data[3], dataLength - headerLength); // a drive may claim more than it sent
    serial = trimSpaces(data.data() + headerLength, pageLength);
    return true;
}

bool KRUnixMODiskImpl::GetLogicalVolume(std::string& volume)
{
    if (!IsValid()) {
        LogEventMessage(errorLevel, "The device handle is not valid in GetLogicalVolume...");
        Err_Handler(EINVAL);
        return false;
    }
    volume = _logicalDrive;
    return true;
}
