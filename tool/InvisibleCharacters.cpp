#include "tool/InvisibleCharacters.h"

#include <algorithm>
#include <array>

namespace tool {

namespace {

struct Range {
    unsigned long first;
    unsigned long last;
};

// Unicode's general categories Cf, Zl and Zp, what it calls default ignorable, and the braille pattern without dots.
constexpr std::array<Range, 26> invisible = {{
    {0xad, 0xad},       {0x34f, 0x34f},     {0x600, 0x605},     {0x61c, 0x61c},     {0x6dd, 0x6dd},
    {0x70f, 0x70f},     {0x890, 0x891},     {0x8e2, 0x8e2},     {0x115f, 0x1160},   {0x17b4, 0x17b5},
    {0x180b, 0x180f},   {0x200b, 0x200f},   {0x2028, 0x202e},   {0x2060, 0x206f},   {0x2800, 0x2800},
    {0x3164, 0x3164},   {0xfe00, 0xfe0f},   {0xfeff, 0xfeff},   {0xffa0, 0xffa0},   {0xfff0, 0xfffb},
    {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a},
    {0xe0000, 0xe0fff},
}};

} // namespace

bool isInvisible(unsigned long character)
{
    return std::any_of(invisible.begin(), invisible.end(),
                       [character](const Range& range) { return character >= range.first && character <= range.last; });
}

} // namespace tool
