#include "lab/drives/Sysfs.h"

#include <fcntl.h>

#include <algorithm>
#include <stdexcept>

#include "lab/support/SystemCall.h"
#include "platform/SystemFiles.h"

namespace lab {

void writeAttribute(const std::string& path, const std::string& value)
{
    const Descriptor file = openFile(path, O_WRONLY);
    checked(static_cast<int>(::write(file.number(), value.data(), value.size())), "write " + value + " to " + path);
}

std::string readAttribute(const std::string& path)
{
    const std::string text = scsi::readAttribute(path);
    if (text.empty()) {
        throw std::runtime_error("can't read " + path);
    }
    return text.substr(0, text.find('\n'));
}

std::vector<std::string> unitAddresses()
{
    std::vector<std::string> addresses = scsi::namesIn("/sys/class/scsi_device");
    std::sort(addresses.begin(), addresses.end());
    return addresses;
}

std::string unitFolder(const std::string& address)
{
    return "/sys/class/scsi_device/" + address + "/device";
}

std::string unitNode(const std::string& address, const std::string& deviceClass)
{
    const std::vector<std::string> names = scsi::namesIn(unitFolder(address) + "/" + deviceClass);
    return names.empty() ? "" : "/dev/" + names.front();
}

} // namespace lab
