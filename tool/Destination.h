#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tool/CopyPlan.h"
#include "tool/File.h"
#include "tool/Folder.h"

class KRScsiMODiskDrive;

namespace tool {

class MountedVolume;

/// The size of the file system that a folder lies on.
std::uint64_t totalBytes(const Folder& folder);

/// Where a transfer writes: a folder of the medium or of the machine, and beside it a temporary folder for what is not
/// whole yet.
class Destination {
public:
    /// A folder of the machine.
    explicit Destination(Folder folder);

    /// A folder of the medium, which need not be there yet. @param path below its root, which it is when empty.
    Destination(MountedVolume& medium, KRScsiMODiskDrive& drive, std::string path);

    bool isOnMedium() const { return _medium != nullptr; }

    /// The folder, or nothing where it is not there yet. @throws Failure where something else is in its place.
    const Folder* folder() { return reach(false); }

    /// The folder, made with all that lead to it where they are missing.
    const Folder& made() { return *reach(true); }

    const Folder& staging() const { return _staging; }
    std::uint64_t availableBytes() const;
    std::uint64_t blockBytes() const;

    File newFile(const Folder& folder, const std::string& name) const;

    /// Opens a file that was written, to compare it.
    File reading(const Folder& folder, const std::string& name) const;

    /// Makes the temporary folder, removing one that was left. It may get another name for that.
    void makeStaging();

    /// Removes it with all that is in it; folders that were made and are still empty go, too.
    void withdraw();
    void removeStaging();

    void flush() const;

    /// Makes sure that the medium is the one on which the transfer began.
    void requireSameMedium() const;

    /// Flushes and has everything read from the medium anew. All folders but `folder()` and `staging()` are to be
    /// closed before. @return whether that goes for names, too.
    bool renew();

private:
    const Folder* reach(bool make);
    void requireOutsideStaging() const;
    std::string leftoverName();

    MountedVolume* _medium = nullptr;
    KRScsiMODiskDrive* _drive = nullptr;
    std::string _path;
    Folder _root;
    Folder _folder{Descriptor()};
    Folder _staging{Descriptor()};
    std::string _stagingName;
    int _stagingNumber = 0; ///< of the first name that is not known to be of no use
    std::vector<std::pair<std::string, std::string>> _newFolders; ///< the folder above and the name; innermost last
};

} // namespace tool
