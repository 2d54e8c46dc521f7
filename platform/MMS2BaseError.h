#pragma once

/// The host's error numbering. A host with an error library of its own defines this symbol itself.
class MMS2BaseError {
public:
    /// Turns a number of the operating system (`errno`, POSIX <errno.h>) into a media-management error code.
    ///
    /// This mapping turns 22 (`EINVAL`) into 997, the code that a mount of a medium without FAT32 must arrive with,
    /// and gives every other number back as it is.
    static unsigned int ConvertToMMError(unsigned int nativeError);
};
