#pragma once

#include <sys/stat.h>

#include <map>
#include <mutex>
#include <string>

#include "platform/DeviceNode.h"
#include "platform/SharedDevice.h"
#include "platform/SystemFiles.h"

/// Internal to the platform library: the one descriptor that a process has of a device.
#pragma GCC visibility push(hidden)
namespace scsi {

/// A device that this process has opened.
struct OpenDevice {
    int descriptor = -1;
    SharedDevice* shared = nullptr; ///< never destroyed
};

/// Opens the device that a path or address names, and lets go of all that went away.
///
/// @return the process's descriptor of it, or -1 and the reason in `errno`.
OpenDevice openDevice(const std::string& name);

/// The descriptors of all devices that this process has opened, by address. May be used by several threads.
///
/// One a device and never closed, for three reasons: a backend keeps the number of its volume after the target that
/// opened it is gone; a drive that is asked once a minute must not use up the process's descriptors; and a record
/// lock (POSIX fcntl) is lost as soon as the process closes any descriptor of the locked file, so a device that is
/// there must not be opened a second time only to be closed again.
class DescriptorTable {
public:
    /// The process's table. It is never destroyed: threads of the host may still send commands during exit.
    static DescriptorTable& instance();

    /// The descriptor of the device at an address, opened at the first call.
    ///
    /// A device that went away and came back is opened anew onto the number it had, and so is one that could be
    /// opened for reading alone. A number is never given up, also where that fails: whoever holds one must not write
    /// into another file.
    ///
    /// @return -1 and the reason in `errno` where the device can't be opened.
    OpenDevice open(const std::string& address, const DeviceNode& node);

    /// Lets the kernel free the devices that went away, with their addresses and nodes, so that they can come back
    /// under the same. Their numbers are kept by descriptors on which commands and locks fail.
    void letGoOfGone();

private:
    struct Entry {
        int descriptor = -1;
        struct stat file = {}; ///< what the descriptor meant when it was opened
        SharedDevice shared;
    };

    static bool isLive(const Entry& entry, const DeviceNode& node);
    static bool isGone(const Entry& entry);
    static int renew(Entry& entry, const DeviceNode& node, UniqueDescriptor opened);
    static int put(Entry& entry, UniqueDescriptor& opened, const struct stat& file);

    std::mutex _mutex;
    std::map<std::string, Entry> _entries;
};

} // namespace scsi
#pragma GCC visibility pop
