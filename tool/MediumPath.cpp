#include "tool/MediumPath.h"

#include <filesystem>

#include "tool/Failure.h"

namespace tool {

std::string pathOnMedium(const std::string& path)
{
    namespace fs = std::filesystem;
    std::string normal = ("/" / fs::path(path)).lexically_normal().relative_path();
    if (!normal.empty() && normal.back() == '/')
        normal.pop_back();
    return normal;
}

MediumPlace placeOf(const std::string& path, const Folder& root)
{
    const std::size_t slash = path.rfind('/');
    try {
        Folder folder =
            slash == std::string::npos ? Folder::ofDescriptor(root.number()) : root.folder(path.substr(0, slash));
        return {std::make_shared<const Folder>(std::move(folder)), path.substr(slash + 1)};
    } catch (const Failure& failure) {
        throw Failure(failure.status(), "/" + path + ": " + failure.what());
    }
}

} // namespace tool
