#pragma once

#include <string>

/// One disk of the machine, as fdisk lists it. Numbers are decimal text.
struct DiskInfo {
    std::string diskName; ///< device node, "/dev/sdb"
    std::string diskSize; ///< bytes
    std::string cylinders;
    std::string heads;
    std::string sectors;   ///< per track
    std::string reserved1; ///< always empty
    std::string reserved2; ///< always empty
};

/// One partition, as fdisk or parted lists it. It belongs to the disk with whose name its own begins.
struct PartInfo {
    std::string partName;  ///< device node, "/dev/sdb1"
    std::string partSize;  ///< sectors of 512 bytes, decimal
    std::string partType;  ///< system text, "W95 FAT32 (LBA)"; "EFI GPT" for a partition of a GPT disk
    std::string partId;    ///< hexadecimal without prefix, "c"; "ee" for a partition of a GPT disk
    bool partFlag = false; ///< not used
};
