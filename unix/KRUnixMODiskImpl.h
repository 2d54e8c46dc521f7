#pragma once

#include <string>
#include <vector>

#include "backend/KRBaseMODiskImpl.h"
#include "unix/DiskInventory.h"

/// The Linux backend: drives a medium with the system's own tools (fdisk, parted, mount, umount, eject), its mount
/// table and four SCSI commands.
///
/// Needs the rights for that: root (the host guide tells of capabilities). The tools' output is
/// parsed: the process runs with LC_ALL=C.
///
/// The inventory (`_diskData`, `_partData`) and `bExceptionCaught` belong to the process and have no lock: one scan,
/// resolution, mount or unmount at a time in a process. An object is used by one thread at a time.
///
/// Messages of the static operations carry identifier -1 and no "Device [...]" prefix.
class KRUnixMODiskImpl : public KRBaseMODiskImpl {
public:
    /// @param devicePath   the drive, as `UXScsiTarget` takes it.
    /// @param logicalDrive the mount directory, or empty: then it is looked up when `GetLogicaldriveLetter()` asks.
    /// @param deviceKind   kept, not read.
    /// @param openFlag     handed to `OpenVolume` by `Init`.
    KRUnixMODiskImpl(const std::string& devicePath, const std::string& logicalDrive, int deviceKind,
                     const long long& deviceId, bool openFlag);

    /// Releases memory; unmounts, unlocks and closes nothing.
    ~KRUnixMODiskImpl() override;

    /// Opens the volume (see `OpenVolume`, which may wait 5000 seconds). @return true, whatever came of it.
    bool Init() override;

    /// Does nothing. @return true.
    bool Uninit() override;

    /// Copies out the mount directory, which is empty until it was looked up.
    /// @return false when the volume is not open; error from `EINVAL`.
    bool GetLogicalVolume(std::string& volume) override;

    /// Tests the unit (TEST UNIT READY, once) and then waits 10000 ms. @param timeoutSeconds not used.
    bool DoLoad(unsigned long timeoutSeconds) override;

    /// Tests the unit, waits 10000 ms, unmounts, allows removal, stops the unit (START STOP UNIT without LoEj).
    /// Ends with false at the first step that fails; nothing is undone.
    bool DoUnload(unsigned long timeoutSeconds) override;

    /// Runs "eject -s " + native path. @return false when it can't be started or prints anything, warnings included.
    bool DoEject(unsigned long timeoutSeconds) override;

    /// @return whether the volume's descriptor is not -1; so true before the first `Init`.
    bool IsValid() override;

    /// Does nothing. @return true.
    bool DoErase(const std::string& what) override;

    /// Reads the serial number: INQUIRY of the Unit Serial Number page (80h, SPC), 128 bytes.
    /// @return false when the drive rejects it, with sense and data in the log and no error code.
    /// @throws KrException as the pass-through layer does.
    bool GetDeviceSerialNumber(std::string& serial) override;

    /// Opens a file (POSIX open). Modes and results as in `KRScsiMODiskDrive::createFile`; a file that is created
    /// gets 0666 under the umask, as far as the mount options let it.
    int create_file(const std::string& path, int accessMode, int openExisting) override;

    /// Closes a file (POSIX close). @return what close returned; -1 with `EINVAL` recorded for handle -1.
    int close_handle(int handle) override;

    /// Free space of the file system at the mount directory in bytes (statvfs: f_bsize times f_bavail and f_bfree).
    bool get_disc_free_space(KRQuadWord& available, KRQuadWord& free) override;

    /// Reads once. @return the count; the `errno`, a positive number, when the read failed; -1 for handle -1.
    long long read_file(int handle, void* buffer, unsigned long length) override;

    /// Writes once. @return what write returned; 0 for handle -1. Anything but `length` is logged and recorded.
    long long write_file(int handle, void* buffer, unsigned long length) override;

    /// Finds the medium's first partition and mounts it (see `mountDevice`).
    ///
    /// Opens the drive, scans twice. @return whether it is mounted; error 1100 when the lookup caught an exception;
    /// other failures of the lookup leave the code alone.
    bool DoMount() override;

    /// Unmounts the medium from its mount directory ("umount /sdb1/KRMT").
    /// @return false without a code when it is not mounted there or umount prints anything; with one when the drive,
    ///         the lookup or the mount table fails so. True also when umount could not be started, with the code set.
    bool DoUnMount() override;

    std::string getMountPoint() override;
    std::string getNativePath() override;
    bool createDirectory(std::string path) override;

    /// Looks for a mount of exactly that device on exactly that directory in /etc/mtab (getmntent).
    /// Each call leaves a stream on the table open, for good.
    /// @return 0: mounted; 1: not; -1: the table can't be opened for update, error from `errno`.
    int checkIfAlredyMounted(std::string device, std::string mountPoint) override;

    std::string getFSType() override;
    void setFSType(std::string fsType) override;
    void setPartNativePath(std::string path) override;
    std::string getPartNativePath() override;

    void setNativePath(std::string path);
    void setMountPoint(std::string path);

    /// The mount directory, looked up if that has not been done; empty when it can't be found.
    std::string GetLogicaldriveLetter();

    /// Opens the drive's volume and keeps its descriptor: five tries, 1000 seconds of waiting after each failure.
    /// @param openFlag not used.
    /// @return the descriptor; -1 with the error from `errno`, or 1100 when the layer threw, which ends the tries.
    int OpenVolume(bool openFlag);

    /// Opens the drive to learn its native path.
    /// @return false only when the layer threw (1100). A drive that can't be opened is logged, its `errno` recorded,
    ///         and after 1000 seconds the answer is true.
    bool openDevice();

    /// Sends TEST UNIT READY once. Both arguments are without use. @return 0: ready, -1: not; logged with the sense.
    int WaitforUnitReady(int timeoutSeconds, unsigned long* scratch);

    /// Sends START STOP UNIT (SBC) with the bits Start and LoEj. @return 0, or -1, logged with the sense.
    int StartStopUnit(int start, int loadEject);

    /// Sends PREVENT ALLOW MEDIUM REMOVAL (SBC): non-zero prevents, 0 allows. @return 0, or -1, logged with the sense.
    int PreventRemovalOfVolume(int prevent);

    /// Takes the record lock (fcntl F_SETLK, write, whole file) on the volume's descriptor: 20 tries, 1500 seconds of
    /// waiting after each failure. Keeps other processes off, not other threads.
    /// @return 0, or -1 with the error from `errno`.
    int LockVolume();

    /// Gives the record lock back, with the same tries and waits, and the same entry line.
    int UnlockVolume();

    /// Mounts the partition (`getPartNativePath`) on its directory (`getMountPoint`), which is created, unless it is
    /// there already. @return true when it is mounted, and when mount could not be started (with the code set).
    bool mountDevice();

    /// Creates a directory with all missing parents, mode 0755 under the umask.
    /// @return 0: it is there, even if it is a file; -1: no absolute path; else an `errno`.
    /// @throws std::out_of_range for an empty path.
    int createDirRec(std::string path);

    /// Reads the machine's disks and partitions ("/sbin/fdisk -l", and "parted DISK print" where a classic listing
    /// shows a GPT disk). Waits while the file /temp/test.sleep exists.
    /// @return false when a tool can't be started; told on standard output, not to the host's callback.
    static bool scan();

    /// @return a copy of the disks that the last scan found.
    static std::vector<DiskInfo> getDiskData();

    /// @return copies of the last scan's partitions whose names begin with that of the disk, in the order found.
    ///         "/dev/sdb" finds "/dev/sdba1" too.
    static std::vector<PartInfo> getPartDataByDiskName(const std::string& diskName);

    /// Advances over white space; null and the end of the text stay.
    static void skipSpace(const char*& text);

    /// Takes the characters up to the next white space and advances over them.
    static std::string skipToSpace(const char*& text);

    /// Finds the mount directory of the first partition of the medium in the drive ("/sdb1/KRMT").
    ///
    /// Opens the drive and scans. A disk without partitions loses what is still mounted from it
    /// (`unmountDevicesByDiskName`).
    /// @param result set on success, left alone on failure.
    /// @return false on failure: the log tells why; 1000 seconds later when the drive can't be opened;
    ///         `bExceptionCaught` is set when the layer threw.
    static bool GetLogicaldriveLetter(std::string devicePath, std::string& result);

    /// Unmounts everything that the mount table shows from the disk's partitions on a directory of ours (leaf KRMT).
    /// Leaves a stream on the table open.
    /// @return 0: the table was walked, whatever came of the unmounts; -1: it can't be opened, or has an entry and the
    ///         name no slash.
    static int unmountDevicesByDiskName(std::string diskName);

    /// What the last scan found.
    static std::vector<DiskInfo> _diskData;
    static std::vector<PartInfo> _partData;

    /// Set when a resolution caught an exception of the pass-through layer; the caller that sees its resolution fail
    /// reports and clears it.
    static bool bExceptionCaught;

protected:
    std::string _logicalDrive;
    bool _openFlag;
    std::string _nativePath;
    std::string _mountPoint;
    std::string _fsType;
    std::string _partNativePath;

private:
    bool findMountDirectory(std::string& directory);
    bool findPartition();
    bool runMount(const std::string& fsType, const std::string& partition, const std::string& directory);
    int setRecordLock(short type);
};
