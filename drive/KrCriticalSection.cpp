#include "drive/KrCriticalSection.h"

#include <new>

KrCriticalSection::KrCriticalSection() : _handle(new (std::nothrow) KrCriticalSectionH)
{
    if (_handle == nullptr)
        throw "Not enough memory to initialize KrCriticalSection";
}

namespace {

KrCriticalSection sec;

} // namespace
