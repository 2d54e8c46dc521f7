#include "lab/target/Transfer.h"

#include <system_error>

#include "lab/target/BigEndian.h"

namespace lab {

namespace {

// The six-byte commands have room for 21 bits of address, and 0 is 256 blocks.
BlockRange blocksOf(const CommandBytes& bytes)
{
    switch (commandLength(bytes[0])) {
    case 6:
        return {numberAt(bytes, 1, 3) & 0x1fffffU, bytes[4] == 0 ? 256U : bytes[4]};
    case 10:
        return {numberAt(bytes, 2, 4), numberAt(bytes, 7, 2)};
    case 12:
        return {numberAt(bytes, 2, 4), numberAt(bytes, 6, 4)};
    default:
        return {numberAt(bytes, 2, 8), numberAt(bytes, 10, 4)};
    }
}

bool isOn(const Medium& medium, const BlockRange& range)
{
    return range.first <= medium.blocks() && range.number <= medium.blocks() - range.first;
}

using Transfer = uint64_t (Medium::*)(uint64_t, const DataBuffer&) const;

ScsiAnswer transfer(const Medium& medium, const ScsiCommand& command, Transfer function, Sense (*error)(uint64_t))
{
    const BlockRange range = blocksOf(command.bytes);
    if (!isOn(medium, range)) {
        return ScsiAnswer::refusal(blockOutOfRange);
    }
    const uint64_t done = (medium.*function)(range.first, command.data.part(0, range.number * medium.sectorSize()));
    const size_t transferred = done * medium.sectorSize();
    if (done < range.number) {
        return ScsiAnswer::refusal(error(range.first + done), transferred);
    }
    return {scsiStatus::good, {}, transferred, {}, false};
}

// The lab has no memory left for the medium.
ScsiAnswer guarded(const Medium& medium, const ScsiCommand& command, Transfer function, Sense (*error)(uint64_t))
{
    try {
        return transfer(medium, command, function, error);
    } catch (const std::system_error&) {
        return ScsiAnswer::refusal(internalTargetFailure);
    }
}

} // namespace

size_t commandLength(uint8_t operationCode)
{
    constexpr size_t lengths[] = {6, 10, 10, 6, 16, 12, 6, 6};
    return lengths[operationCode >> 5U];
}

ScsiAnswer read(LogicalUnit& unit, const ScsiCommand& command)
{
    return guarded(*unit.tray().medium(), command, &Medium::read, readError);
}

ScsiAnswer write(LogicalUnit& unit, const ScsiCommand& command)
{
    if (unit.tray().medium()->isWriteProtected()) {
        return ScsiAnswer::refusal(writeProtected);
    }
    return guarded(*unit.tray().medium(), command, &Medium::write, writeError);
}

} // namespace lab
