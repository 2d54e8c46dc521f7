#pragma once

#include <memory>
#include <string>

/// The SCSI pass-through layer: opens drives and sends commands to them.
///
/// Opening a drive:
///
///     UXScsiTarget target("/dev/sg1", false);
///     UXScsi::open(target, 60);
///     if (target.getFD() == -1) { ... errno tells why ... }
///
/// Sending a command (a target need not be opened first):
///
///     UXScsi::Device device(UXScsiTarget("/dev/sg1", false));
///     unsigned char cdb[6] = {};            // TEST UNIT READY
///     unsigned char sense[28];
///     int status = UXScsi::send(device.target(), cdb, 6, nullptr, 0, false, true, sense, 28, -1);
///
/// This is the Linux implementation over the kernel's SG_IO (<scsi/sg.h>) and sysfs. A host with a SCSI library of
/// its own replaces `UXScsiTarget`, `UXScsi::Device`, `UXScsi::open` and `UXScsi::send` together. Targets may be
/// used by several threads, each target by one at a time.

class UXScsi;

/// The name of a SCSI logical unit and, once opened, its descriptor.
class UXScsiTarget {
public:
    /// Names a drive; nothing is touched until it is opened or asked for.
    ///
    /// @param devicePath `/dev/sgN`, `/dev/sdX`, `/dev/bsg/H:C:T:L`, a symbolic link to one of them, or an address
    ///                   `H:C:T:L`.
    /// @param flag       without meaning here.
    UXScsiTarget(const char* devicePath, bool flag);
    UXScsiTarget(const UXScsiTarget& other);
    ~UXScsiTarget();

    /// The descriptor that `UXScsi::open` left, -1 before and after a failure. It belongs to the process: one
    /// descriptor a device is shared by all targets and never closed, so it outlives this object.
    int getFD() const;

    /// The drive's block node, such as "/dev/sdb", as sysfs tells it now; the path given at construction where the
    /// drive has no block node or is not there.
    std::string getNativePath() const;

    /// The logical unit number of the drive's SCSI address; 0 where the drive is not there.
    int getLun() const;

private:
    friend class UXScsi;
    struct State;
    std::unique_ptr<State> _state;
};

class UXScsi {
public:
    /// A target to which commands are sent: keeps a copy of its own, so that the target it was made of may go.
    class Device {
    public:
        explicit Device(const UXScsiTarget& target);
        ~Device();
        const UXScsiTarget& target() const;

    private:
        UXScsiTarget _target;
    };

    /// Opens the drive: its SCSI generic node, or its block node where it has none, for reading and writing
    /// (for reading alone where the system refuses more with EROFS or EACCES), without blocking on an empty drive.
    ///
    /// A process has one descriptor a device. It is opened by the first target that asks; a drive that went away
    /// and came back is opened anew onto the same number.
    ///
    /// @param timeoutSeconds the time that a command sent through this target gets unless `send` says otherwise; a
    ///                       negative one is not taken.
    /// @return 0, or -1 with the reason in `errno` and -1 in `getFD()`. `ENODEV`: the path is no SCSI device, or the
    ///         address is not there; `ENOENT`: there is no such path, or the device has no node.
    static int open(UXScsiTarget& target, int timeoutSeconds);

    /// Sends one command (SG_IO) and waits for its end. A target that was not opened is looked up for the command
    /// alone: its `getFD()` stays -1. One that was opened before its drive went away needs `open` again.
    ///
    /// @param cdb, cdbLength     the command descriptor block, 1 to 255 bytes.
    /// @param data, dataLength   the buffer and its size in bytes; null and 0 without a data phase.
    /// @param firstFlag          true: the data goes to the drive; false: it comes from there.
    /// @param secondFlag         true: a command answered with UNIT ATTENTION is sent again, three sends in all,
    ///                           since a drive answers so the first command after a medium change.
    /// @param sense, senseLength buffer for sense data, zeroed first; always fixed format (SPC, response codes 70h
    ///                           and 71h), whichever format the drive sent; zeros where it sent none.
    /// @param lastInt            seconds to wait for the command; negative: those given to `open`, or 60.
    /// @return 0 for GOOD and for a RECOVERED ERROR of this command; the SCSI status (SAM) of a command that the drive
    ///         rejected; 0x10000 | host status for a transport failure (1: no connection, 3: time-out, 7: one that the
    ///         kernel's driver alone told of).
    /// @throws KrException naming the path, the step and the system's reason: the drive can't be opened or the
    ///         system refused the command.
    static int send(const UXScsiTarget& target, const void* cdb, int cdbLength, void* data, int dataLength,
                    bool firstFlag, bool secondFlag, void* sense, int senseLength, int lastInt);
};

class UXScsiSense {
public:
    /// Sense data in words: "MEDIUM ERROR: UNRECOVERED READ ERROR". The key's name is that of SPC, the additional
    /// sense that of T10's list for direct-access and optical memory devices; a pair that the list lacks is told as
    /// "ASC 0x80 ASCQ 0x01".
    ///
    /// @param senseKey byte 2 of fixed-format sense data, whose upper four bits are not looked at.
    /// @param asc, ascq bytes 12 and 13.
    /// @param flag      without meaning here.
    static std::string toText(unsigned char senseKey, unsigned char asc, unsigned char ascq, bool flag);
};
