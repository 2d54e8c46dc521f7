#pragma once

#include <mutex>

/// A lock handle: one owner at a time, which may lock it again and unlocks it as often.
class KrCriticalSectionH {
public:
    /// Blocks until the calling thread owns the lock.
    void lock();

    /// Gives up one `lock()` of the calling thread.
    void unlock();

private:
    std::recursive_mutex _mutex;
};
