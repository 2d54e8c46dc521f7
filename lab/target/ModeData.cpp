#include "lab/target/ModeData.h"

#include <algorithm>

#include "lab/target/BigEndian.h"

namespace lab {

namespace {

constexpr uint8_t cachingPage = 0x08;
constexpr uint8_t allPages = 0x3f;

// Nothing is cached: what was answered GOOD is on the medium.
std::vector<uint8_t> caching()
{
    std::vector<uint8_t> page(20);
    page[0] = cachingPage;
    page[1] = 18;
    return page;
}

std::vector<uint8_t> blockDescriptor(const Medium& medium)
{
    std::vector<uint8_t> descriptor(8);
    putNumber(descriptor, 1, 3, std::min<uint64_t>(medium.blocks(), 0xffffff));
    putNumber(descriptor, 5, 3, medium.sectorSize());
    return descriptor;
}

} // namespace

std::vector<uint8_t> modeData(const Medium* medium, const CommandBytes& bytes, bool isShort)
{
    constexpr uint8_t writeProtectBit = 0x80;
    const uint8_t page = bytes[2] & 0x3fU;
    if (page != cachingPage && page != allPages) {
        return {};
    }
    const bool hasDescriptor = medium != nullptr && (bytes[1] & 0x08U) == 0;
    const auto descriptor = hasDescriptor ? blockDescriptor(*medium) : std::vector<uint8_t>();
    const auto content = caching();
    std::vector<uint8_t> data(isShort ? 4 : 8);
    data[isShort ? 2 : 3] = medium != nullptr && medium->isWriteProtected() ? writeProtectBit : 0;
    data.back() = static_cast<uint8_t>(descriptor.size());
    data.insert(data.end(), descriptor.begin(), descriptor.end());
    data.insert(data.end(), content.begin(), content.end());
    const size_t lengthWidth = isShort ? 1 : 2;
    putNumber(data, 0, lengthWidth, data.size() - lengthWidth);
    return data;
}

} // namespace lab
