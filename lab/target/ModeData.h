#pragma once

#include "lab/target/Medium.h"
#include "lab/target/ScsiCommand.h"

namespace lab {

/// The answer to MODE SENSE; empty for a page that there is not. @param medium null where none is ready
std::vector<uint8_t> modeData(const Medium* medium, const CommandBytes& bytes, bool isShort);

} // namespace lab
