// Creation of a directory together with its missing parents.

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "backend/HostLog.h"
#include "unix/KRUnixMODiskImpl.h"

bool KRUnixMODiskImpl::createDirectory(std::string path)
{
    const int result = createDirRec(path);
    if (result == 0)
        return true;
    if (result == -1) // rejected, and logged there
        return false;
    LogEventMessage(backendLevel, "Create Directory Failed for path : " + path);
    Err_Handler(static_cast<unsigned int>(result));
    return false;
}

// In what follows `errno` is read after the log line, as hosts see it from their callback.
int KRUnixMODiskImpl::createDirRec(std::string path)
{
    if (path.at(0) != '/') {
        LogEventMessage(backendLevel, "KRUnixMODiskImpl::createDirRec Not an absolute path :: " + path);
        return -1;
    }
    if (path == "/")
        return 0;
    const int probe = open(path.c_str(), O_RDONLY); // a file of that name counts as there, too
    if (probe != -1) {
        close(probe);
        return 0;
    }
    if (errno != ENOENT) {
        LogEventMessage(backendLevel, "KRUnixMODiskImpl::createDirRec open failed for " + path);
        return errno;
    }
    if (path.back() == '/') // one only: a second makes the mkdir below fail, which callers count on
        path.pop_back();
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) { // excluded: the path begins with one
        LogEventMessage(backendLevel, "Not a valid path :: " + path + "\n");
        return -1;
    }
    if (createDirRec(path.substr(0, slash + 1)) != 0)
        return errno;
    constexpr mode_t mode = 0755;
    if (mkdir(path.c_str(), mode) == -1) {
        LogEventMessage(backendLevel, "KRUnixMODiskImpl::createDirRec mkdir failed for " + path);
        return errno;
    }
    return 0;
}
