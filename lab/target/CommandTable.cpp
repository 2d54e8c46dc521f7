#include "lab/target/CommandTable.h"

#include <algorithm>
#include <map>

#include "lab/target/BigEndian.h"
#include "lab/target/InquiryData.h"
#include "lab/target/ModeData.h"
#include "lab/target/Transfer.h"

namespace lab {

namespace {

// A drive sends no more than it is asked for, and no more than there is room for.
ScsiAnswer answerWith(const std::vector<uint8_t>& data, size_t allocated, const ScsiCommand& command)
{
    ScsiAnswer answer;
    answer.transferred = command.data.part(0, allocated).put(data);
    return answer;
}

ScsiAnswer testUnitReady(LogicalUnit& /*unit*/, const ScsiCommand& /*command*/)
{
    return {};
}

// What could not be told by CHECK CONDITION is told here: UNIT ATTENTIONs, and what the medium waits for.
ScsiAnswer requestSense(LogicalUnit& unit, const ScsiCommand& command)
{
    std::optional<Sense> told = unit.takeAttention();
    if (!told) {
        told = unit.tray().whyNotReady();
    }
    const bool isDescriptorFormat = (command.bytes[1] & 1U) != 0;
    return answerWith(senseData(told.value_or(noSense), isDescriptorFormat), command.bytes[4], command);
}

ScsiAnswer inquiry(LogicalUnit& unit, const ScsiCommand& command)
{
    const bool isPage = (command.bytes[1] & 1U) != 0;
    const auto data = isPage ? inquiryPage(unit.identity(), command.bytes[2]) : standardInquiry(unit.identity());
    if (data.empty() || (!isPage && command.bytes[2] != 0)) {
        return ScsiAnswer::refusal(invalidFieldInCommand);
    }
    return answerWith(data, numberAt(command.bytes, 3, 2), command);
}

ScsiAnswer modeSense(LogicalUnit& unit, const ScsiCommand& command)
{
    const bool isShort = command.bytes[0] == 0x1a;
    const auto data = modeData(unit.tray().whyNotReady() ? nullptr : unit.tray().medium(), command.bytes, isShort);
    if (data.empty()) {
        return ScsiAnswer::refusal(invalidFieldInCommand);
    }
    return answerWith(data, isShort ? command.bytes[4] : numberAt(command.bytes, 7, 2), command);
}

ScsiAnswer readCapacity10(LogicalUnit& unit, const ScsiCommand& command)
{
    const Medium& medium = *unit.tray().medium();
    std::vector<uint8_t> data(8);
    putNumber(data, 0, 4, std::min<uint64_t>(medium.blocks() - 1, UINT32_MAX));
    putNumber(data, 4, 4, medium.sectorSize());
    return answerWith(data, data.size(), command);
}

ScsiAnswer readCapacity16(LogicalUnit& unit, const ScsiCommand& command)
{
    constexpr uint8_t serviceAction = 0x10;
    if ((command.bytes[1] & 0x1fU) != serviceAction) {
        return ScsiAnswer::refusal(invalidFieldInCommand);
    }
    const Medium& medium = *unit.tray().medium();
    std::vector<uint8_t> data(32);
    putNumber(data, 0, 8, medium.blocks() - 1);
    putNumber(data, 8, 4, medium.sectorSize());
    return answerWith(data, numberAt(command.bytes, 10, 4), command);
}

ScsiAnswer synchronizeCache(LogicalUnit& /*unit*/, const ScsiCommand& /*command*/)
{
    return {};
}

ScsiAnswer moveTray(Tray& tray, bool starts)
{
    if (starts) {
        tray.close();
    } else if (tray.isLocked() && !tray.isOpen()) {
        return ScsiAnswer::refusal(removalPrevented);
    } else {
        tray.stop();
        tray.open();
    }
    return {};
}

ScsiAnswer turnMotor(Tray& tray, bool starts)
{
    if (tray.isOpen() || tray.medium() == nullptr) {
        return starts ? ScsiAnswer::refusal(*tray.whyNotReady()) : ScsiAnswer();
    }
    if (starts) {
        tray.start();
    } else {
        tray.stop();
    }
    return {};
}

// Without the immediate bit the answer comes when the motor has its speed.
ScsiAnswer startStopUnit(LogicalUnit& unit, const ScsiCommand& command)
{
    const bool isImmediate = (command.bytes[1] & 1U) != 0;
    const bool starts = (command.bytes[4] & 1U) != 0;
    const bool movesTray = (command.bytes[4] & 2U) != 0;
    Tray& tray = unit.tray();
    ScsiAnswer answer = movesTray ? moveTray(tray, starts) : turnMotor(tray, starts);
    if (answer.status == scsiStatus::good && starts && !isImmediate) {
        answer.delay = tray.timeUntilReady();
    }
    return answer;
}

ScsiAnswer preventAllow(LogicalUnit& unit, const ScsiCommand& command)
{
    unit.tray().lock((command.bytes[4] & 1U) != 0);
    return {};
}

constexpr CommandEntry onMedium(ScsiAnswer (*execute)(LogicalUnit&, const ScsiCommand&))
{
    return {execute, true, false};
}

const std::map<uint8_t, CommandEntry> table{
    {0x00, onMedium(testUnitReady)},
    {0x03, {requestSense, false, true}},
    {0x08, onMedium(read)},
    {0x0a, onMedium(write)},
    {0x12, {inquiry, false, true}},
    {0x1a, {modeSense, false, false}},
    {0x1b, {startStopUnit, false, false}},
    {0x1e, {preventAllow, false, false}},
    {0x25, onMedium(readCapacity10)},
    {0x28, onMedium(read)},
    {0x2a, onMedium(write)},
    {0x35, onMedium(synchronizeCache)},
    {0x5a, {modeSense, false, false}},
    {0x88, onMedium(read)},
    {0x8a, onMedium(write)},
    {0x91, onMedium(synchronizeCache)},
    {0x9e, onMedium(readCapacity16)},
    {0xa8, onMedium(read)},
    {0xaa, onMedium(write)},
};

} // namespace

const CommandEntry* commandEntry(uint8_t operationCode)
{
    const auto found = table.find(operationCode);
    return found == table.end() ? nullptr : &found->second;
}

} // namespace lab
