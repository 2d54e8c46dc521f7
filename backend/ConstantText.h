#pragma once

#include <cstddef>
#include <string>

/// Internal: a string literal that is passed as a `std::string`, which is how an object's log lines are handed on.
///
/// It is made by the compiler, allocates nothing and is never destroyed. So file operations are free of allocations
/// when nobody listens, a drive can be used while the process runs its exit handlers and after them, and the library
/// can be unloaded without leaving anything behind; a `std::string` of static storage gives two of these at most.
///
/// It has the members of a `std::string` of libstdc++, in their order. That layout is part of the binary interface
/// between the library and its hosts, who exchange such strings, and can't change without it; a unit test compares
/// what is read of such a text with a true string. The two types don't alias for the compiler, but that orders writes,
/// and nothing is ever written to a constant.
class ConstantText {
public:
    template <std::size_t size>
    constexpr explicit ConstantText(const char (&literal)[size]) : _characters(literal), _length(size - 1)
    {
    }
    ConstantText(const ConstantText&) = delete;
    ConstantText& operator=(const ConstantText&) = delete;

    operator const std::string&() const { return *reinterpret_cast<const std::string*>(this); }

private:
    // Read as the string's members. What is last fills the place for short texts, of which the capacity is the front.
    [[maybe_unused]] const char* _characters;
    [[maybe_unused]] std::size_t _length;
    [[maybe_unused]] std::size_t _capacity = _length;
    [[maybe_unused]] std::size_t _rest = 0;
};

#if !defined(_GLIBCXX_USE_CXX11_ABI) || _GLIBCXX_USE_CXX11_ABI != 1
#error "ConstantText has the members of another string than this standard library's."
#endif
static_assert(sizeof(ConstantText) == sizeof(std::string) && alignof(ConstantText) == alignof(std::string));
