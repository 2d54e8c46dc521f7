#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "backend/KRBaseMODiskImpl.h"
#include "platform/KRQuadWord.h"

/// A drive with removable disk media: the object that a host holds.
///
///     KRScsiMODiskDrive::m_gpLogMessageCallbackFunc = log;                // once, before the first drive
///     std::unique_ptr<KRScsiMODiskDrive> drive(KRScsiMODiskDrive::instance(11001, "/dev/sg1", 7, true));
///     if (!drive) ...                                                     // the log tells why
///     if (drive->mount() != 0) { std::string reason; drive->getLastError(reason); ... }
///
/// Every operation but the queries logs its entry at level 3, and lets no exception out. Those that touch the device
/// reset the error state first and then leave one of these in it (`platform/KRMediaCodes.h` names the codes):
///
/// | code  | text                                       | when                                                   |
/// |-------|--------------------------------------------|--------------------------------------------------------|
/// | 0     | as it was                                  | success                                                |
/// | 994   | operation + "(): can't access the device." | the drive is closed, or its volume could not be opened |
/// | 1100  | operation + "() caught the exception."     | an exception escaped from the backend                  |
/// | other | the backend's                              | the backend failed: its last code, 0 included          |
///
/// A drive is used by one thread at a time. Opening, mounting, unmounting and unloading share lists of the process:
/// only one of them may run at a time in a process, whatever the number of drives. No operation takes a lock.
class KRScsiMODiskDrive {
public:
    /// What the host hears: level (-1 SCSI status, 0 failures of the backend, 1 errors and dumps, 3 traces), the
    /// identifier of the drive that speaks (-1: none; 0: a backend), the complete message. Messages end without a
    /// newline, but for that of the sense text; those with the output of a tool can hold several lines.
    using LogMessageCallback = void (*)(int level, const long long& deviceId, const std::string& text);

    /// The host's callback; null until the host stores one. Exceptions that it throws are dropped.
    static LogMessageCallback m_gpLogMessageCallbackFunc;

    /// Makes and opens a drive.
    ///
    /// Runs fdisk (and parted), opens the drive and its volume. A drive that can't be opened makes it wait: 1000
    /// seconds where its medium is looked up, which then fails; 1000 seconds after each of five tries at its volume.
    ///
    /// @param deviceType 11001 to 11999 except 11002: a removable hard disk; there are no others.
    /// @param devicePath the drive, as `UXScsiTarget` takes it.
    /// @param deviceId   the host's own identifier of the drive, shown with every log line.
    /// @param openFlag   handed down to the backend; without meaning there.
    /// @return the drive, which the caller deletes; null when it could not be opened or the type is unknown (in
    ///         which case "Opened the volume" is logged all the same).
    static KRScsiMODiskDrive* instance(int deviceType, const std::string& devicePath, const long long& deviceId,
                                       bool openFlag);

    /// @param openFlag accepted for the derived classes; `open` takes its own.
    KRScsiMODiskDrive(const std::string& devicePath, int deviceType, const long long& deviceId, bool openFlag);
    KRScsiMODiskDrive(const KRScsiMODiskDrive&) = delete;
    KRScsiMODiskDrive& operator=(const KRScsiMODiskDrive&) = delete;

    /// Calls `close()`. What is mounted stays mounted.
    virtual ~KRScsiMODiskDrive();

    /// Tells the logical drive: the directory on which the medium's first partition is mounted, such as "/sdb1/KRMT".
    ///
    /// It is looked up once (runs fdisk, opens the drive, waits 1000 seconds when that fails) and then remembered.
    /// The entry line appears twice.
    /// @param volume receives the directory, or an empty string.
    /// @return 0; 770: not found, the log tells why; 1100.
    virtual unsigned long getLogicalVolume(std::string& volume);

    /// Makes the medium ready (TEST UNIT READY, then a wait of 10000 ms). @return the error code.
    virtual unsigned long load();

    /// Does nothing here. @return the code that the operation before it left.
    virtual unsigned long unload();

    /// Opens the drive. @return false here: a drive of this class has no backend.
    virtual bool open(bool openFlag);

    /// Deletes the backend. Unmounts nothing. May be called again.
    virtual void close();

    /// @return seconds, handed to the backend by `load()`.
    virtual long loadTimeOut() const;

    /// @return seconds, handed to the backend by the unload of a derived class.
    virtual long unloadTimeOut() const;

    /// Erases nothing. Logs the entry line of `load()`. @return the code that the operation before it left.
    virtual unsigned long eraseDisk(const std::string& what);

    /// Reads the drive's serial number (INQUIRY, Unit Serial Number page 80h, SPC). @return the error code.
    virtual unsigned long getSerialNumber(std::string& serial);

    /// Logs "Device [" + device path + "] - " + text.
    virtual void LogEventMessage(int level, const std::string& text);

    /// Copies the text of the last error and returns its code; reading does not clear it. After a success the code
    /// is 0 and the text may be that of an earlier failure.
    virtual unsigned long getLastError(std::string& text) const;

    /// Stores code and text as the last error. Logs nothing.
    virtual void SetErrorCode(unsigned long code, const std::string& text);

    /// Opens a file on the medium. Its whole path is given, mount directory included.
    ///
    /// @param accessMode   0: for reading; 2: for reading and writing. Others open nothing.
    /// @param openExisting with 2: 0 creates the file when it is missing; else it must exist. It is never truncated.
    /// @return a descriptor; -1 when the backend failed, whose code is then *not* in this drive's error state;
    ///         0 with 994 or 1100.
    virtual int createFile(const std::string& path, int accessMode, int openExisting);

    /// Closes a file (POSIX close; flushes nothing to the medium). The error state becomes the backend's last one,
    /// also after a success.
    virtual void closeHandle(int handle);

    /// Tells the free space of the medium, in bytes (statvfs): for users, and with the reserved part.
    /// While nothing is mounted, that of the file system that holds the mount directory.
    /// @return false on failure, with the error code.
    virtual bool getDiscFreeSpace(KRQuadWord& available, KRQuadWord& free);

    /// Reads once from a file (POSIX read).
    ///
    /// @param length bytes that `buffer` holds.
    /// @return bytes read, fewer than `length` perhaps; 0 at the end of the file and on failures of this drive.
    ///         A read that the system refused returns its `errno` as a count, and handle -1 the largest number:
    ///         the code of these failures is with the backend and is not copied.
    virtual unsigned long readFile(int handle, void* buffer, unsigned long length);

    /// Writes once to a file (POSIX write).
    ///
    /// @param length bytes to write.
    /// @return bytes written; fewer than `length` is a failure (the medium is full, say), the largest number one
    ///         that wrote nothing; their code is with the backend and is not copied. 0: a failure with its code.
    virtual unsigned long writeFile(int handle, void* buffer, unsigned long length);

    /// Mounts the medium. @return here: all bits set.
    virtual unsigned long mount();

    /// @return here: an empty string.
    virtual std::string getMountPath();

    /// @return here: an empty string.
    virtual std::string getDevicePath();

    /// Performs no test. @return false; `isWorm` stays as it is.
    virtual bool isMediaWORM(int, int& isWorm);

    /// Creates a directory on the medium with all missing parents.
    /// @return 0 on success and with 994 and 1100 (see `getLastError`); the `errno` that the backend left otherwise,
    ///         whose own code is not copied.
    int createDir(std::string path);

    /// @return whether the drive is open and its volume too.
    bool isValid();

    /// Passes a message to the host's callback, if there is one. Throws nothing.
    static void LogMessage(int level, const long long& deviceId, const std::string& text);

    /// Answers that the device is not supported, whatever it is; a host's generic drive interface asks this.
    /// @return false, with `supported` false and `text` as it was.
    static bool Supported(const std::string& devicePath, bool& supported, std::string& text);
    static bool Supported(const std::string& devicePath, const std::string& second, int, int, int, bool& supported,
                          std::string& text);

protected:
    std::int32_t _deviceType;
    std::string _devicePath;
    std::unique_ptr<KRBaseMODiskImpl> _impl;
    bool _spareFlag = false;
    std::int32_t _spareHandle = -1;
    std::string _logicalDrive;
    std::uint64_t _errorCode = 0;
    std::string _errorText;
    std::int64_t _loadTimeOut = 600;
    std::int64_t _unloadTimeOut = 600;
    long long _deviceId;

private:
    friend class OperationPattern; // the error convention of all operations, written once
};
