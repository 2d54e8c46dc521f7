#pragma once

class KRScsiMODiskDrive;

namespace tool {

/// How a transfer goes.
struct TransferRules {
    bool force = false;        ///< files take the place of files, and folders are merged
    bool skipExisting = false; ///< what is there with the same size and time is left, and folders are merged
    bool verify = false;       ///< what was written to a medium is read from it anew and compared
    bool keepTimes = false;
    bool goOn = false;                   ///< what can't be read becomes a problem, and the rest is copied
    KRScsiMODiskDrive* source = nullptr; ///< through which the SOURCEs are read; null: they are the machine's
};

} // namespace tool
