#include "platform/KrCriticalSectionH.h"

void KrCriticalSectionH::lock()
{
    _mutex.lock();
}

void KrCriticalSectionH::unlock()
{
    _mutex.unlock();
}
