#pragma once

#include <unistd.h>

#include <utility>

namespace tool {

/// Owns a file descriptor, or none (-1).
class Descriptor {
public:
    explicit Descriptor(int number = -1) : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(_number, other._number);
        return *this;
    }
    ~Descriptor() { close(); }

    int number() const { return _number; }
    bool isOpen() const { return _number != -1; }

    void close()
    {
        if (_number != -1)
            ::close(std::exchange(_number, -1));
    }

private:
    int _number;
};

} // namespace tool
