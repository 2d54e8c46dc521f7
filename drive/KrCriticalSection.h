#pragma once

#include <memory>
#include <new>

#include "platform/KrCriticalSectionH.h"

/// Owner of a lock handle. One such object exists for the host from the loading of the library to its unloading;
/// no operation takes it.
///
/// All of it is in this header: a host's base library may have a class of that name, with which nothing that the
/// library exports must collide.
class KrCriticalSection {
public:
    /// @throws const char* when there is no memory for the handle.
    KrCriticalSection() : _handle(new (std::nothrow) KrCriticalSectionH)
    {
        if (_handle == nullptr)
            throw "Not enough memory to initialize KrCriticalSection";
    }

private:
    std::unique_ptr<KrCriticalSectionH> _handle;
};
