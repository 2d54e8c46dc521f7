#pragma once

#include <memory>

#include "platform/KrCriticalSectionH.h"

/// Owner of a lock handle. One such object exists for the host from the loading of the library to its unloading;
/// no operation takes it.
class KrCriticalSection {
public:
    /// @throws const char* when there is no memory for the handle.
    KrCriticalSection();

private:
    std::unique_ptr<KrCriticalSectionH> _handle;
};
