#pragma once

#include <string>

#include "tool/Failure.h"

namespace tool {

/// Why a name leads to no drive: it is one of a partition, whose disk is told; no drive has such a serial number; or
/// what the system said. @param error the `errno` of looking it up.
Failure unknownDrive(const std::string& name, int error);

} // namespace tool
