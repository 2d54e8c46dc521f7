#include "platform/KRQuadWord.h"

KRQuadWord::KRQuadWord(unsigned long long value) : _value(value) {}

KRQuadWord::operator unsigned long long() const
{
    return _value;
}
