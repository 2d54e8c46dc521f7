#include "tool/Text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <cwctype>

#include "tool/InvisibleCharacters.h"

namespace tool {

namespace {

struct Character {
    bool valid;
    wchar_t value; ///< the first byte's where it is not valid
    std::string_view bytes;
};

/// Takes a character off the text; one byte where no character begins.
Character take(std::string_view& text)
{
    std::mbstate_t state{};
    wchar_t value = 0;
    const std::size_t length = std::mbrtowc(&value, text.data(), text.size(), &state);
    const bool valid = length >= 1 && length <= text.size();
    const Character character = {valid, valid ? value : static_cast<unsigned char>(text.front()),
                                 text.substr(0, valid ? length : 1)};
    text.remove_prefix(character.bytes.size());
    return character;
}

bool isVisible(const Character& character)
{
    return character.valid && std::iswprint(static_cast<wint_t>(character.value)) != 0 &&
           !isInvisible(static_cast<unsigned long>(character.value));
}

} // namespace

void readTextAsUtf8()
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        if (!take(text).valid)
            return false;
    }
    return true;
}

std::string escaped(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const Character character = take(text);
        if (isVisible(character))
            result += character.bytes;
        else
            for (const char byte : character.bytes)
                result += "\\x" + hexadecimal({&byte, 1});
    }
    return result;
}

std::string escapedLines(std::string_view text)
{
    std::string result;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        result += escaped(text.substr(0, end)) + '\n';
        text.remove_prefix(end + 1);
    }
    return result + escaped(text);
}

std::string folded(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const Character character = take(text);
        result += std::to_string(std::towlower(static_cast<wint_t>(character.value))) + ' ';
    }
    return result;
}

std::string sizeText(std::uint64_t bytes)
{
    constexpr std::array units = {"bytes", "KiB", "MiB", "GiB"};
    auto size = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < units.size(); ++unit)
        size /= 1024;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, size, units[unit]);
    return text.data();
}

std::string hexadecimal(std::string_view bytes)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string result;
    for (const char byte : bytes)
        result += {digits[(byte >> 4) & 0xf], digits[byte & 0xf]};
    return result;
}

std::string trimmed(const std::string& text)
{
    constexpr const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace tool
