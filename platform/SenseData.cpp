#include "platform/SenseData.h"

#include <algorithm>

namespace scsi {

namespace {

enum ResponseCode : unsigned char {
    fixedCurrent = 0x70,
    fixedDeferred = 0x71,
    descriptorCurrent = 0x72,
    descriptorDeferred = 0x73,
};

constexpr unsigned char responseCodeMask = 0x7f;
constexpr unsigned char senseKeyMask = 0x0f;
constexpr unsigned char validBit = 0x80;
constexpr unsigned char incorrectLengthBit = 0x20;
constexpr unsigned char streamBits = 0xe0; // FILEMARK, EOM, ILI
constexpr std::size_t headerLength = 8;    // of both formats, with the additional length in the last byte

/// Copies the lower half of an eight-byte field where that is all there is.
bool copyLowerHalf(const unsigned char* field, unsigned char* place)
{
    constexpr std::size_t half = 4;
    if (std::any_of(field, field + half, [](unsigned char byte) { return byte != 0; }))
        return false;
    std::copy_n(field + half, half, place);
    return true;
}

/// Puts what one sense data descriptor tells in its place of fixed format.
void carryOver(const unsigned char* descriptor, SenseBytes& fixed)
{
    enum Type : unsigned char {
        information,
        commandSpecific,
        senseKeySpecific,
        replaceableUnit,
        stream,
        block
    };
    constexpr std::array<unsigned char, 6> shortest = {10, 10, 6, 2, 2, 2};
    const unsigned char type = descriptor[0];
    if (type >= shortest.size() || descriptor[1] < shortest[type])
        return;
    if (type == information && (descriptor[2] & validBit) != 0 && copyLowerHalf(descriptor + 4, &fixed[3]))
        fixed[0] |= validBit;
    else if (type == commandSpecific)
        copyLowerHalf(descriptor + 4, &fixed[8]);
    else if (type == senseKeySpecific)
        std::copy_n(descriptor + 4, 3, &fixed[15]);
    else if (type == replaceableUnit)
        fixed[14] = descriptor[3];
    else if (type == stream)
        fixed[2] |= descriptor[3] & streamBits;
    else if (type == block)
        fixed[2] |= descriptor[3] & incorrectLengthBit;
}

/// @param length how much of `sense` the device sent; the rest is zero.
SenseBytes fromDescriptorFormat(const SenseBytes& sense, std::size_t length)
{
    constexpr unsigned char additionalLength = 10;
    SenseBytes fixed{};
    fixed[0] = (sense[0] & responseCodeMask) == descriptorCurrent ? fixedCurrent : fixedDeferred;
    fixed[2] = sense[1] & senseKeyMask;
    fixed[7] = additionalLength;
    fixed[12] = sense[2];
    fixed[13] = sense[3];
    const std::size_t end = std::min(length, headerLength + sense[headerLength - 1]);
    std::size_t position = headerLength;
    while (position + 2 <= end) {
        const std::size_t next = position + 2 + sense[position + 1];
        if (next <= end) // the last one may have been cut off
            carryOver(&sense[position], fixed);
        position = next;
    }
    return fixed;
}

} // namespace

SenseBytes toFixedFormat(const unsigned char* sense, std::size_t length)
{
    SenseBytes received{};
    length = std::min(length, received.size());
    std::copy_n(sense, length, received.begin());
    switch (received[0] & responseCodeMask) {
    case fixedCurrent:
    case fixedDeferred:
        return received;
    case descriptorCurrent:
    case descriptorDeferred:
        return fromDescriptorFormat(received, length);
    default:
        return {};
    }
}

bool isCurrent(const SenseBytes& fixed, unsigned char senseKey)
{
    return (fixed[0] & responseCodeMask) == fixedCurrent && (fixed[2] & senseKeyMask) == senseKey;
}

} // namespace scsi
