#include "bench/LabDrive.h"

#include <stdexcept>

#include "lab/support/Process.h"

namespace {

void check(unsigned long code)
{
    if (code != 0)
        throw std::runtime_error("the library failed with code " + std::to_string(code));
}

} // namespace

LabDrive& LabDrive::instance()
{
    static LabDrive drive;
    return drive;
}

LabDrive::LabDrive() : _emulated(_drives.add(lab::parseDrive("size=256")))
{
    constexpr int removableHardDisk = 11001;
    _drive.reset(
        dynamic_cast<KRHardDiskDrive*>(KRScsiMODiskDrive::instance(removableHardDisk, _emulated.genericNode, 7, true)));
    if (_drive == nullptr)
        throw std::runtime_error("there is no drive");
}

void LabDrive::mount()
{
    check(_drive->mount());
}

void LabDrive::unmount()
{
    check(_drive->unmount());
}

void run(const std::vector<std::string>& command)
{
    if (lab::Process({command}).wait() != 0)
        throw std::runtime_error(command.front() + " failed");
}
