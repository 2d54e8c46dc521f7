#include "lab/support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

std::filesystem::path folderForTemporaries()
{
    std::error_code missing;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(missing);
    return missing || folder.string().find(' ') != std::string::npos ? "/tmp" : folder;
}

} // namespace

TemporaryFolder::TemporaryFolder() : _path(folderForTemporaries() / "lab.XXXXXX")
{
    if (::mkdtemp(_path.data()) == nullptr) {
        checked(-1, "make the folder " + _path);
    }
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

} // namespace lab
