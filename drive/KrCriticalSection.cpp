#include "drive/KrCriticalSection.h"

#include <new>

KrCriticalSection::KrCriticalSection() : _handle(new (std::nothrow) KrCriticalSectionH)
{
    if (_handle == nullptr)
        throw "Not enough memory to initialize KrCriticalSection";
}

namespace {

// A process that can't have its lock is to fail when it loads the library, not later.
KrCriticalSection sec;

} // namespace
