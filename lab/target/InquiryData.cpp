#include "lab/target/InquiryData.h"

#include "lab/target/BigEndian.h"

namespace lab {

namespace {

constexpr uint8_t optical = 7;

void append(std::vector<uint8_t>& data, std::string text, size_t width)
{
    text.resize(width, ' ');
    data.insert(data.end(), text.begin(), text.end());
}

std::vector<uint8_t> unitSerialNumber(const Identity& identity)
{
    return {identity.serial.begin(), identity.serial.end()};
}

// One designator: of the unit, by T10's names of vendors, in ASCII.
std::vector<uint8_t> deviceIdentification(const Identity& identity)
{
    constexpr size_t vendorWidth = 8;
    std::vector<uint8_t> data{0x02, 0x01, 0x00, static_cast<uint8_t>(vendorWidth + identity.serial.size())};
    append(data, "LAB", vendorWidth);
    append(data, identity.serial, identity.serial.size());
    return data;
}

} // namespace

std::vector<uint8_t> standardInquiry(const Identity& identity)
{
    constexpr uint8_t removable = 0x80;
    constexpr uint8_t version = 5; // SPC-3
    std::vector<uint8_t> data{identity.deviceType, removable, version, 0x02, 31, 0, 0, 0x02};
    append(data, "LAB", 8);
    append(data, identity.deviceType == optical ? "OPTICAL DRIVE" : "REMOVABLE DISK", 16);
    append(data, "1.0", 4);
    return data;
}

std::vector<uint8_t> inquiryPage(const Identity& identity, uint8_t page)
{
    std::vector<uint8_t> content;
    if (page == 0x00) {
        content = {0x00, 0x80, 0x83};
    } else if (page == 0x80) {
        content = unitSerialNumber(identity);
    } else if (page == 0x83) {
        content = deviceIdentification(identity);
    } else {
        return {};
    }
    std::vector<uint8_t> data{identity.deviceType, page, 0, 0};
    putNumber(data, 2, 2, content.size());
    data.insert(data.end(), content.begin(), content.end());
    return data;
}

} // namespace lab
