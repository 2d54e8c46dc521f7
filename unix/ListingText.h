#pragma once

#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>

/// Internal: walking over the text that a tool printed. Nothing is copied.

/// Of the C locale, in which the tools are to be run.
inline bool isSpace(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

inline bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

inline bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

inline bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

constexpr unsigned long long bytesInSector = 512;

/// The decimal number at the front of the text, as the C library's function for that type has it: 0 without one.
template <class Number>
Number leadingNumber(std::string_view text, Number (*convert)(const char*, char**, int))
{
    Number number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc())
        number = convert(std::string(text).c_str(), nullptr, 10); // a "+", too many digits, none
    return number;
}

/// The decimal number at the front of the text, 0 without one; a negative one wraps around.
inline unsigned long long toNumber(std::string_view text)
{
    return static_cast<unsigned long long>(leadingNumber<long long>(text, std::strtoll));
}

/// Gives a text's lines, without their newlines. A last line without a newline is one, too.
class Lines {
public:
    explicit Lines(std::string_view text) : _rest(text) {}

    /// @return false at the end of the text; `line` is then empty.
    bool next(std::string_view& line)
    {
        line = _rest.substr(0, _rest.find('\n'));
        if (_rest.empty())
            return false;
        _rest.remove_prefix(line.size() < _rest.size() ? line.size() + 1 : line.size());
        return true;
    }

private:
    std::string_view _rest;
};

/// Gives the words of a line, which white space parts.
class Words {
public:
    explicit Words(std::string_view line) : _rest(line) {}

    void skipSpace()
    {
        std::size_t length = 0;
        while (length < _rest.size() && isSpace(_rest[length]))
            ++length;
        _rest.remove_prefix(length);
    }

    /// Takes the characters up to the next white space: none where the line begins with it.
    std::string_view token()
    {
        std::size_t length = 0;
        while (length < _rest.size() && !isSpace(_rest[length]))
            ++length;
        const std::string_view taken = _rest.substr(0, length);
        _rest.remove_prefix(length);
        return taken;
    }

    /// Skips white space and takes what follows.
    std::string_view next()
    {
        skipSpace();
        return token();
    }

    /// Goes on after the next such character, or at the end of the line.
    void skipPast(char character)
    {
        const std::size_t found = _rest.find(character);
        _rest.remove_prefix(found == std::string_view::npos ? _rest.size() : found + 1);
    }

    std::string_view rest() const { return _rest; }

private:
    std::string_view _rest;
};
