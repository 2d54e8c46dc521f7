#pragma once

#include <string>
#include <utility>
#include <vector>

namespace lab {

/// Strings in the form in which a program is given its arguments and its environment (execve).
class Arguments {
public:
    explicit Arguments(std::vector<std::string> strings) : _strings(std::move(strings))
    {
        for (std::string& string : _strings) {
            _pointers.push_back(string.data());
        }
        _pointers.push_back(nullptr);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    const char* first() const { return _pointers.front(); }
    char* const* all() const { return _pointers.data(); }

private:
    std::vector<std::string> _strings;
    std::vector<char*> _pointers;
};

} // namespace lab
