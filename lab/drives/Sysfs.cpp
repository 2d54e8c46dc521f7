#include "lab/drives/Sysfs.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "lab/support/SystemCall.h"

namespace lab {

void writeAttribute(const std::string& path, const std::string& value)
{
    const Descriptor file = openFile(path, O_WRONLY);
    checked(static_cast<int>(::write(file.number(), value.data(), value.size())), "write " + value + " to " + path);
}

std::string readAttribute(const std::string& path)
{
    const Descriptor file = openFile(path, O_RDONLY);
    std::array<char, 4096> buffer;
    const int count = checked(static_cast<int>(::read(file.number(), buffer.data(), buffer.size())), "read " + path);
    const std::string text(buffer.data(), static_cast<size_t>(count));
    return text.substr(0, text.find('\n'));
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> unitAddresses(const std::string& host)
{
    std::vector<std::string> addresses = namesIn("/sys/class/scsi_device");
    const std::string start = host.empty() ? "" : host + ":";
    const auto isOther = [&start](const std::string& address) { return address.compare(0, start.size(), start) != 0; };
    addresses.erase(std::remove_if(addresses.begin(), addresses.end(), isOther), addresses.end());
    return addresses;
}

std::string unitFolder(const std::string& address)
{
    return "/sys/class/scsi_device/" + address + "/device";
}

std::string unitNode(const std::string& address, const std::string& deviceClass)
{
    const std::vector<std::string> names = namesIn(unitFolder(address) + "/" + deviceClass);
    return names.empty() ? "" : "/dev/" + names.front();
}

} // namespace lab
