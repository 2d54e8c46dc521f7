#pragma once

/// A 64-bit unsigned quantity, here a number of bytes: the type in which free space is told.
class KRQuadWord {
public:
    KRQuadWord(unsigned long long value = 0);
    operator unsigned long long() const;

private:
    unsigned long long _value;
};
