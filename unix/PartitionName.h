#pragma once

#include <algorithm>
#include <array>
#include <string_view>

/// Internal: the characters that mean something to a shell, and the control characters.
constexpr std::array<bool, 256> makeRefusedCharacters()
{
    constexpr unsigned char firstPrintable = ' ';
    constexpr unsigned char lastControl = 127;
    std::array<bool, 256> characters{};
    for (unsigned char control = 0; control < firstPrintable; ++control)
        characters[control] = true;
    characters[lastControl] = true;
    for (const char special : std::string_view("'\"\\$`;&|<>()[]{}*?!~#"))
        characters[static_cast<unsigned char>(special)] = true;
    return characters;
}

/// Internal: whether a partition's name may enter the inventory, and from there the commands that are run.
///
/// Names come from what tools print, and that can come from the medium (parted prints what is written in a GPT). A
/// name with a character that means something to a shell is no device node of Linux and is left out.
inline bool isPlainName(std::string_view name)
{
    static constexpr std::array<bool, 256> refusedCharacters = makeRefusedCharacters();
    return std::none_of(name.begin(), name.end(),
                        [](char character) { return refusedCharacters[static_cast<unsigned char>(character)]; });
}
