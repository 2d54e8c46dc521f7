#pragma once

#include <cstdint>
#include <string>

#include "platform/KRQuadWord.h"

/// Kind of a backend. Other values belong to backends of other platforms.
enum krMO_Impl : std::int32_t {
    krMO_Unix = 3, ///< `KRUnixMODiskImpl`
};

/// The device backend: what a drive of the front end does its work through.
///
/// A drive owns one backend and calls it through the virtual operations below, whose order is part of the binary
/// interface. An operation that fails returns its failure value and, where it says so, leaves a code and a text
/// that `GetLastErrorCode` gives; nothing ever resets that pair, so it may stem from an earlier failure.
/// Messages go to the callback of the front end (`KRScsiMODiskDrive::m_gpLogMessageCallbackFunc`).
/// A backend is used by one thread at a time.
class KRBaseMODiskImpl {
public:
    /// @param devicePath   the drive, as the SCSI pass-through layer names it; shown in every log line.
    /// @param deviceNumber kept, not read here.
    /// @param context      kept for the caller, not read and not owned.
    /// @param implType     the kind of the derived backend.
    /// @param deviceId     the identifier that every log line of this object carries.
    KRBaseMODiskImpl(const std::string& devicePath, int deviceNumber, void* context, krMO_Impl implType,
                     const long long& deviceId);

    /// Releases memory and nothing else: what is mounted, locked or open stays so.
    virtual ~KRBaseMODiskImpl();

    /// @return whether a derived backend has marked itself initialised.
    virtual bool Initialize();

    /// @return whether a derived backend has marked itself initialised and its medium in use.
    virtual bool CheckDisc();

    /// Opens the device. @return true; `IsValid()` tells whether it worked.
    virtual bool Init() = 0;

    virtual bool Uninit() = 0;

    /// Gives the mount directory of the medium. @return false here, leaving `volume` alone.
    virtual bool GetLogicalVolume(std::string& volume);

    /// Makes the medium ready. @param timeoutSeconds a hint. @return true on success.
    virtual bool DoLoad(unsigned long timeoutSeconds) = 0;

    /// Takes the medium out of use. @param timeoutSeconds a hint. @return true on success.
    virtual bool DoUnload(unsigned long timeoutSeconds) = 0;

    /// Puts the medium out of the drive. @return true; nothing is done here.
    virtual bool DoEject(unsigned long timeoutSeconds);

    /// @return whether the backend has a usable device.
    virtual bool IsValid() = 0;

    virtual bool DoErase(const std::string& what) = 0;

    /// Gives the drive's serial number. @return true; `serial` is emptied here.
    virtual bool GetDeviceSerialNumber(std::string& serial);

    /// Opens or creates a file on the medium. @return a descriptor, -1 on failure.
    virtual int create_file(const std::string& path, int accessMode, int openExisting) = 0;

    virtual int close_handle(int handle) = 0;

    /// Tells the free space of the medium, in bytes. @return true when both were set.
    virtual bool get_disc_free_space(KRQuadWord& available, KRQuadWord& free) = 0;

    /// Reads up to `length` bytes. @return the count; a backend's failure values need not be negative.
    virtual long long read_file(int handle, void* buffer, unsigned long length) = 0;

    /// Writes `length` bytes. @return the count.
    virtual long long write_file(int handle, void* buffer, unsigned long length) = 0;

    virtual bool DoMount() = 0;
    virtual bool DoUnMount() = 0;
    virtual std::string getMountPoint() = 0;
    virtual std::string getNativePath() = 0;

    /// Creates a directory with all missing parents. @return whether it exists on return.
    virtual bool createDirectory(std::string path) = 0;

    /// @return 0: mounted there; 1: not; -1: the mount table can't be read.
    virtual int checkIfAlredyMounted(std::string device, std::string mountPoint) = 0;

    virtual std::string getFSType() = 0;
    virtual void setFSType(std::string fsType) = 0;
    virtual void setPartNativePath(std::string path) = 0;
    virtual std::string getPartNativePath() = 0;

    /// Stores code and text as the last error. Logs nothing.
    virtual void SetErrorCode(unsigned long code, const std::string& text);

    /// Copies the text of the last error and returns its code; reading does not clear it.
    virtual unsigned long GetLastErrorCode(std::string& text) const;

    /// Logs "Device [" + device path + "] - " + text. Called for every message, whether or not the host has a
    /// callback: a derived backend may listen here.
    virtual void LogEventMessage(int level, const std::string& text);

    /// @return false: no medium is write-once here.
    virtual bool is_worm_media();

    /// Clears the marks that `Initialize()` and `CheckDisc()` read.
    /// @return false when the medium was marked in use, which tells the caller that somebody still used it.
    virtual bool Uninitialize();

    krMO_Impl getImplType();

    /// @return the open volume's descriptor, -1 when it could not be opened, 0 before the first try.
    int GetHandle();

    /// Records a failed system call: converts the number (`MMS2BaseError::ConvertToMMError`), logs the system's text
    /// (strerror) at level 1 and stores converted code and text as the last error.
    /// @param nativeError the call's `errno`.
    /// @return `nativeError`, for the caller to return in turn.
    unsigned int Err_Handler(unsigned int nativeError);

    /// Makes a string of a blank-padded field: trailing white space is cut, leading blanks and zero bytes stay.
    /// @param length bytes in the field; 0 gives an empty string.
    std::string trimSpaces(const unsigned char* field, int length);

    /// Logs fixed-format sense data (SPC) at level 1, a message a byte, and last what it means in words.
    /// @param length bytes to dump; the words are read from bytes 2, 12 and 13 whatever the length, so the buffer
    ///               holds 14 bytes at least.
    void printSense(const unsigned char* sense, int length);

    /// Logs the size of a data buffer at level 1 as a row of columns; of the values, only the first byte's is shown.
    /// @param length bytes in the buffer.
    void printData(const unsigned char* data, int length);

protected:
    std::uint64_t _errorCode = 0;
    std::string _errorText;
    std::string _devicePath;
    std::int32_t _handle = 0;
    void* _context;
    krMO_Impl _implType;
    std::int32_t _deviceNumber;
    bool _initialized = false;
    bool _discMounted = false;
    long long _deviceId;
};
