#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lab {

/// Why a drive refuses a command (SPC: sense key, additional sense code and qualifier).
struct Sense {
    uint8_t key = 0;
    uint8_t code = 0;
    uint8_t qualifier = 0;
    std::optional<uint64_t> information; ///< for a medium error: the block
};

inline bool operator==(const Sense& left, const Sense& right)
{
    return left.key == right.key && left.code == right.code && left.qualifier == right.qualifier &&
           left.information == right.information;
}

inline const Sense noSense{};
inline const Sense becomingReady{2, 0x04, 0x01, {}};
inline const Sense stopped{2, 0x04, 0x02, {}};
inline const Sense noMediumTrayClosed{2, 0x3a, 0x01, {}};
inline const Sense noMediumTrayOpen{2, 0x3a, 0x02, {}};
inline const Sense internalTargetFailure{4, 0x44, 0x00, {}};
inline const Sense invalidOperationCode{5, 0x20, 0x00, {}};
inline const Sense blockOutOfRange{5, 0x21, 0x00, {}};
inline const Sense invalidFieldInCommand{5, 0x24, 0x00, {}};
inline const Sense removalPrevented{5, 0x53, 0x02, {}};
inline const Sense mediumChanged{6, 0x28, 0x00, {}};
inline const Sense powerOn{6, 0x29, 0x00, {}};
inline const Sense writeProtected{7, 0x27, 0x00, {}};

Sense readError(uint64_t block);
Sense writeError(uint64_t block);

/// "KEY/CODE/QUALIFIER" in hexadecimal; throws std::invalid_argument.
Sense toSense(const std::string& text);

/// Sense data as a drive sends them, in descriptor or in fixed format.
std::vector<uint8_t> senseData(const Sense& sense, bool isDescriptorFormat);

} // namespace lab
