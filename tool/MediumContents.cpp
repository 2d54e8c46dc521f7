#include "tool/MediumContents.h"

#include <fcntl.h>

#include "tool/BootSector.h"
#include "tool/SystemDrives.h"

namespace tool {

std::string fileSystemOn(const std::string& node)
{
    const std::optional<BootSector> sector = BootSector::of(node);
    return sector ? sector->fileSystem() : std::string();
}

std::string unusableContents(const std::string& blockNode)
{
    const std::vector<std::string> partitions = partitionNodes(blockNode);
    if (partitions.empty()) {
        const std::string whole = fileSystemOn(blockNode);
        return whole.empty() ? whole : "the medium has no partitions; as a whole it holds " + whole;
    }
    const std::optional<BootSector> first = BootSector::of(partitions.front());
    if (first && first->isFat())
        return {};
    std::string text;
    for (const std::string& partition : partitions) {
        const std::string name = fileSystemOn(partition);
        text += name.empty() ? "" : "; " + partition + " holds " + name;
    }
    return text.empty() ? text : "the first partition holds no FAT, and no other is used" + text;
}

std::optional<bool> isMarkedDirty(const std::string& partition)
{
    const std::optional<BootSector> unused = BootSector::of(partition, O_EXCL);
    if (!unused || !unused->isFat())
        return std::nullopt;
    return unused->isDirty();
}

std::string damagedText(const std::string& partition, const std::string& sign)
{
    return "the file system on " + partition + " may be damaged: " + sign + "; unmount it and run fsck.fat " +
           partition;
}

} // namespace tool
