#pragma once

#include <string>

namespace lab {

// What the kernel's SCSI target is told through its file system. All throw std::system_error, or
// std::filesystem::filesystem_error.

/// Gets the target ready, once; its modules (target_core_user, tcm_loop) must be there.
void prepareTarget();

/// A device whose commands a program of user space answers; without it from its destruction on, which nothing may
/// be connected to any more.
class TargetDevice {
public:
    explicit TargetDevice(std::string name);
    TargetDevice(const TargetDevice&) = delete;
    TargetDevice& operator=(const TargetDevice&) = delete;
    ~TargetDevice();

    /// Where it is in the target's folder.
    std::string path() const;
    const std::string& name() const { return _name; }

    /// The name in the class "uio" under which it hands over commands.
    std::string uioName() const;

private:
    std::string _name;
};

/// A host adapter with one target, whose logical units are devices; the kernel's disk drivers see it.
class TargetPort {
public:
    explicit TargetPort(int number);
    TargetPort(const TargetPort&) = delete;
    TargetPort& operator=(const TargetPort&) = delete;
    ~TargetPort();

    /// "host:channel:target"
    std::string address() const;

    /// Makes a device the logical unit of that number; INQUIRY has been answered when this returns.
    void connect(int unit, const TargetDevice& device) const;
    void disconnect(int unit, const TargetDevice& device) const;

    /// Whether commands get through. Those that don't end with host status 0e.
    void setOnline(bool isOnline) const;

private:
    std::string unitFolder(int unit) const;

    std::string _folder;
    std::string _group;
};

} // namespace lab
