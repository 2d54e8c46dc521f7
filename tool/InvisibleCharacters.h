#pragma once

namespace tool {

/// Whether a character of Unicode shows nothing by itself, and yet changes what is shown or makes two names look
/// alike: controls of direction and of format, separators of lines, characters of no width, and empty letters. The C
/// library calls most of them printable. Blanks are none of them.
bool isInvisible(unsigned long character);

} // namespace tool
