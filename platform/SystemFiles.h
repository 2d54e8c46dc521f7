#pragma once

#include <string>
#include <vector>

/// Internal to the platform library: what finding and opening a device needs of the file system.
///
/// The library shares its process with a host whose names nobody here knows, so nothing internal is exported.
#pragma GCC visibility push(hidden)
namespace scsi {

/// Owns a descriptor: closes it unless it was released, and leaves `errno` as it was.
class UniqueDescriptor {
public:
    explicit UniqueDescriptor(int descriptor);
    ~UniqueDescriptor();
    UniqueDescriptor(const UniqueDescriptor&) = delete;
    UniqueDescriptor& operator=(const UniqueDescriptor&) = delete;

    int get() const;
    int release();

private:
    int _descriptor;
};

/// The content of a sysfs attribute; empty where it can't be read.
std::string readAttribute(const std::string& path);

/// Writes a sysfs attribute where it can be written.
void writeAttribute(const std::string& path, const std::string& text);

/// The names in a directory but "." and ".."; none where it can't be read.
std::vector<std::string> namesIn(const std::string& directory);

/// The path without symbolic links; empty where it leads nowhere.
std::string resolvedPath(const std::string& path);

} // namespace scsi
#pragma GCC visibility pop
