#include "lab/target/Sense.h"

#include <stdexcept>

#include "lab/support/Values.h"
#include "lab/target/BigEndian.h"

namespace lab {

namespace {

constexpr uint8_t fixedFormat = 0x70;
constexpr uint8_t descriptorFormat = 0x72;
constexpr uint8_t informationIsValid = 0x80;

// The information field has 32 bits here; a block beyond them is left out.
std::vector<uint8_t> inFixedFormat(const Sense& sense)
{
    std::vector<uint8_t> data(18);
    data[0] = fixedFormat;
    data[2] = sense.key;
    data[7] = static_cast<uint8_t>(data.size() - 8);
    data[12] = sense.code;
    data[13] = sense.qualifier;
    if (sense.information && *sense.information <= UINT32_MAX) {
        data[0] |= informationIsValid;
        putNumber(data, 3, 4, *sense.information);
    }
    return data;
}

std::vector<uint8_t> inDescriptorFormat(const Sense& sense)
{
    constexpr size_t headerLength = 8;
    constexpr size_t informationLength = 12;
    std::vector<uint8_t> data(headerLength + (sense.information ? informationLength : 0));
    data[0] = descriptorFormat;
    data[1] = sense.key;
    data[2] = sense.code;
    data[3] = sense.qualifier;
    data[7] = static_cast<uint8_t>(data.size() - headerLength);
    if (sense.information) {
        data[9] = informationLength - 2;
        data[10] = informationIsValid;
        putNumber(data, 12, 8, *sense.information);
    }
    return data;
}

} // namespace

Sense readError(uint64_t block)
{
    return {3, 0x11, 0x00, block};
}

Sense writeError(uint64_t block)
{
    return {3, 0x0c, 0x00, block};
}

Sense toSense(const std::string& text)
{
    const std::vector<std::string> parts = splitAt('/', text);
    if (parts.size() != 3) {
        throw std::invalid_argument("'" + text + "' is no sense, such as 6/28/00");
    }
    const auto byte = [&parts](size_t index) { return static_cast<uint8_t>(toNumber(parts[index], 16)); };
    return {byte(0), byte(1), byte(2), {}};
}

std::vector<uint8_t> senseData(const Sense& sense, bool isDescriptorFormat)
{
    return isDescriptorFormat ? inDescriptorFormat(sense) : inFixedFormat(sense);
}

} // namespace lab
