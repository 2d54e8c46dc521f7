#include "drive/KrCriticalSection.h"

namespace {

// A process that can't have its lock is to fail when it loads the library, not later.
KrCriticalSection sec;

} // namespace
