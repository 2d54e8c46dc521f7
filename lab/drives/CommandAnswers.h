#pragma once

namespace lab {

/// Where answerCommands() leaves the answers for the preloaded library.
inline constexpr const char* answersFile = "/run/lab-faults/answers";

} // namespace lab
