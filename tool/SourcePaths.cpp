#include "tool/SourcePaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <map>
#include <memory>

#include "tool/TreeWalk.h"

namespace tool {

namespace {

/// Where a path of the command line leads: a name, and the folder that holds it.
struct Named {
    std::shared_ptr<const Folder> folder;
    std::string name;
};

/// "." and ".." lead to a folder whose name stands elsewhere.
Named nameOf(const std::string& path)
{
    const Folder folder = Folder::named(path, Folder::Mounts::any);
    std::array<char, PATH_MAX> link{};
    const ssize_t length =
        readlink(("/proc/self/fd/" + std::to_string(folder.number())).c_str(), link.data(), link.size());
    const std::string whole(link.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::string name = whole.substr(whole.rfind('/') + 1);
    if (name.empty())
        throw Failure(statusWrongUse, path + " has no name to copy it under");
    auto above = std::make_shared<const Folder>(Folder::named(path + "/..", Folder::Mounts::any));
    if (const auto found = above->look(name); !found || !isSame(*found, folder.status()))
        throw Failure(statusDeviceFailed, path + " was moved meanwhile");
    return {above, name};
}

Named resolve(std::string path, std::map<std::string, std::shared_ptr<const Folder>>& folders)
{
    if (path.empty())
        throw Failure(statusWrongUse, "an empty name");
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    const std::size_t slash = path.rfind('/');
    const std::string name = path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..")
        return nameOf(path);
    const std::string above = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    std::shared_ptr<const Folder>& folder = folders[above];
    if (folder == nullptr) {
        Descriptor descriptor(open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!descriptor.isOpen())
            throw systemFailure(path, errno);
        folder = std::make_shared<const Folder>(std::move(descriptor), Folder::Mounts::any);
    }
    return {folder, name};
}

} // namespace

std::vector<CopySource> planSources(const std::vector<std::string>& paths, Problems& problems)
{
    std::vector<CopySource> sources;
    std::map<std::string, std::shared_ptr<const Folder>> folders;
    TreeWalk walk(TreeWalk::On::machine, problems);
    for (const std::string& path : paths) {
        problems.gather([&] {
            const Named named = resolve(path, folders);
            walk.add(sources, named.folder, named.name, path);
        });
    }
    return sources;
}

} // namespace tool
