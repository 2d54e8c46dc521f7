#pragma once

#include <mntent.h>

#include <string>

/// Internal: the system's mount table. It is opened for update, and never closed: both are meant so and told in the
/// host guide. A destructor here would change what hosts count on.
class MountTable {
public:
    MountTable() : _stream(setmntent("/etc/mtab", "r+")) {}

    /// @return false when it could not be opened; `errno` has the reason.
    bool opened() const { return _stream != nullptr; }

    /// @return the next entry, valid until the next call; null at the end.
    const mntent* next() { return getmntent(_stream); }

private:
    FILE* _stream;
};
