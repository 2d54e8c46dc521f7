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
    /// A process has one descriptor a device, opened by the first target that asks. These are opened anew onto the
    /// same number: a drive that went away and came back; one that was open for reading alone and can now be written;
    /// one whose number the host closed by mistake, unless that has become a file of the host's own. A descriptor for
    /// writing is left as it is, since closing any descriptor of the node would give back the process's record locks.
    ///
    /// Whatever drive is opened, and whether or not it can be, drives that went away are let go of first: their numbers
    /// stay taken, but commands and record locks on them fail, and the drives can come back under their names.
    ///
    /// Where the kernel knows of no medium (the size of the block node is 0), the block node is opened and closed once
    /// to make it look, since it shows no partition of a medium that was put in until somebody opens the disk. This
    /// is not done after a PREVENT ALLOW MEDIUM REMOVAL of this process that prevents removal, which closing the node
    /// would undo, nor for a drive without a generic node. It gives back a record lock that the process has of its own
    /// on the block node, and it can block while the drive spins up: the kernel gives its TEST UNIT READY 30 seconds,
    /// and a drive that is becoming ready 100.
    ///
    /// @param timeoutSeconds the time that a command sent through this target gets unless `send` says otherwise; a
    ///                       negative one is not taken. 0: the kernel's own, on a generic node what the attribute
    ///                       `timeout` of the device says (30 seconds for a disk, 75 for a magneto-optical one, unless
    ///                       somebody changed it), on a block node 60 seconds.
    /// @return 0, or -1 with the reason in `errno` and -1 in `getFD()`. `ENODEV`: the path is no SCSI device, or the
    ///         address is not there; `ENOENT`: there is no such path, or the device has no node.
    static int open(UXScsiTarget& target, int timeoutSeconds);

    /// Sends one command (SG_IO) and waits for its end. A target that was not opened is looked up for the command
    /// alone: its `getFD()` stays -1. One that was opened before its drive went away needs `open` again.
    ///
    /// All signals but SIGSEGV, SIGBUS, SIGFPE and SIGILL wait in the thread until the command has ended: it is sent
    /// once, and a drive that does not answer is waited for until the command's time is over. That holds for the
    /// signals of the C library, too: setuid and its like in another thread, and pthread_cancel, take effect at that
    /// end. SIGSTOP, the freezer (suspend, cgroups) and a debugger that attaches can't be held up: a process that they
    /// stop in the middle of a command sends it again when it goes on, while the first one may still run.
    ///
    /// Of the commands to one device, 16 run at a time, as many as the kernel takes. Further ones wait, in the order in
    /// which they came; that is no part of a command's time.
    ///
    /// A UNIT ATTENTION that tells of another medium (28h), a reset (29h) or another capacity (2Ah 09h) reaches whoever
    /// sends the next command; when that is not the kernel, the kernel does not get to know of it. Where `send` meets
    /// one, from a disk whose block node can be opened exclusively (O_EXCL: nothing of it is mounted or claimed
    /// otherwise), it makes the kernel read size and partition table anew (`rescan` in sysfs, BLKRRPART) before the
    /// command is sent again. Where somebody has the disk in use, nothing is forced; who mounts it in that
    /// moment is told that it is busy. When this is not done, the lock that it gives back, and how long it can block,
    /// are as told for the block node at `open`; a PREVENT ALLOW of another thread waits as long.
    ///
    /// @param cdb, cdbLength     the command descriptor block, 1 to 255 bytes.
    /// @param data, dataLength   the buffer and its size in bytes; null and 0 without a data phase. What the
    ///                           drive did not send of the data asked for is zero; all after a transport failure.
    /// @param firstFlag          true: the data goes to the drive; false: it comes from there.
    /// @param secondFlag         true: a command answered with UNIT ATTENTION is sent again, three sends in all,
    ///                           since a drive answers so the first command after a medium change.
    /// @param sense, senseLength buffer for sense data, zeroed first; always fixed format (SPC, response codes 70h
    ///                           and 71h), whichever format the drive sent; zeros where it sent none.
    /// @param lastInt            seconds to wait for the command; negative: those given to `open`, or 60; 0: as there.
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
