#include "tool/Placing.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tool/Failure.h"

namespace tool {

namespace {

Failure taken(const std::string& name)
{
    return {statusWrongUse, name + " is there already, and was not before"};
}

void rename(const Folder& from, const Folder& target, const std::string& name)
{
    if (renameat(from.number(), name.c_str(), target.number(), name.c_str()) == -1)
        throw systemFailure(name, errno);
}

/// A file system without flags for renaming (9p, NFS) may have links. A folder takes the place of an empty folder at
/// the most.
void placeWithoutFlags(const Folder& from, const Folder& target, const std::string& name)
{
    if (linkat(from.number(), name.c_str(), target.number(), name.c_str(), 0) == 0) {
        unlinkat(from.number(), name.c_str(), 0);
        return;
    }
    if (errno == EEXIST || target.look(name))
        throw taken(name);
    rename(from, target, name);
}

} // namespace

void place(const Folder& from, const Folder& target, const std::string& name)
{
    if (renameat2(from.number(), name.c_str(), target.number(), name.c_str(), RENAME_NOREPLACE) == 0)
        return;
    const int error = errno;
    if (error == EINVAL || error == ENOSYS)
        return placeWithoutFlags(from, target, name);
    if (error == EEXIST)
        throw taken(name);
    throw systemFailure(name, error);
}

void replaceFile(const Folder& from, const Folder& target, const std::string& name)
{
    const auto exchange = [&] {
        return renameat2(from.number(), name.c_str(), target.number(), name.c_str(), RENAME_EXCHANGE) == 0;
    };
    if (!exchange())
        return rename(from, target, name);
    if (const auto other = from.look(name); !other || !S_ISDIR(other->st_mode))
        return;
    exchange();
    throw Failure(statusWrongUse, name + " is a folder, and was not before");
}

} // namespace tool
