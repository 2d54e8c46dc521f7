#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

/// Internal: whether a partition's name may enter the inventory, and from there the commands that are run.
///
/// Names come from what tools print, and that can come from the medium (parted prints what is written in a GPT). A
/// name with a character that means something to a shell is no device node of Linux and is left out.
inline bool isDeviceName(std::string_view name)
{
    constexpr std::string_view special = "'\"\\$`;&|<>()[]{}*?!~#";
    return std::none_of(name.begin(), name.end(), [special](char character) {
        return std::iscntrl(static_cast<unsigned char>(character)) != 0 ||
               special.find(character) != std::string_view::npos;
    });
}
