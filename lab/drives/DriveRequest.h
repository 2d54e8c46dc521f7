#pragma once

#include <sys/un.h>

#include <string>

#include "lab/support/SystemCall.h"

namespace lab {

/// Asks the lab's drives, which live in its init: a verb and its words, as lab/README.md lists them. The program
/// lab-drive does the same for the shell.
/// @return what they have to tell; throws std::runtime_error with what was wrong
std::string requestOfDrives(const std::string& request);

// What both ends of a request know. The answer begins with one of the characters.
inline constexpr char requestAccepted = '+';
inline constexpr char requestRefused = '-';
inline const std::string controlPath = "/run/lab/drives";
Descriptor newControlSocket();
sockaddr_un controlAddress();

} // namespace lab
