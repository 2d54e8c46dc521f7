#pragma once

// The numbers that a host and the library tell each other.

/// Codes of `KRScsiMODiskDrive::getLastError`; the host guide tells what to do about each. All others are numbers of
/// the operating system, as `MMS2BaseError::ConvertToMMError` maps them.
struct KRErrorCode {
    static constexpr unsigned long logicalDriveNotFound = 770; ///< the log tells why
    static constexpr unsigned long notFat32 = 930;             ///< a mount failed: the medium, or its arguments
    static constexpr unsigned long reserved = 987;             ///< kept for other backends; none gives it today
    static constexpr unsigned long noAccess = 994;             ///< the drive is closed, or its volume is not open
    static constexpr unsigned long wrongArguments = 997;       ///< of `EINVAL`; a mount turns it into `notFat32`
    static constexpr unsigned long exceptionCaught = 1100;     ///< the text names the operation
};

/// How `KRScsiMODiskDrive::createFile` opens a file. Other values open nothing.
struct KRAccessMode {
    static constexpr int forReading = 0;
    static constexpr int forReadingAndWriting = 2;
};

/// Device types of which `KRScsiMODiskDrive::instance` makes a drive: `first` to `last`, but for one.
struct KRDeviceType {
    static constexpr int firstHardDisk = 11001;
    static constexpr int noHardDisk = 11002; ///< lies within the hard disks' numbers and is none of them
    static constexpr int lastHardDisk = 11999;

    static constexpr bool isHardDisk(int deviceType)
    {
        return deviceType >= firstHardDisk && deviceType <= lastHardDisk && deviceType != noHardDisk;
    }
};
