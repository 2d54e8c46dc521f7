#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

/// Lets the functions below read UTF-8, whatever the user's locale is.
void readTextAsUtf8();

bool isUtf8(std::string_view text);

/// The text for a terminal: what is not printable or not to be seen there, and bytes that are no UTF-8, as \xNN.
std::string escaped(std::string_view text);

/// The same for lines, which stay lines.
std::string escapedLines(std::string_view text);

/// The text in lower case.
std::string folded(std::string_view text);

/// "12.3 MiB".
std::string sizeText(std::uint64_t bytes);

std::string hexadecimal(std::string_view bytes);

/// Without white space at either end.
std::string trimmed(const std::string& text);

} // namespace tool
