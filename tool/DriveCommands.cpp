// `drives` and `info`: what there is to know without a mount.

#include <algorithm>

#include "tool/Commands.h"
#include "tool/Drive.h"
#include "tool/Holders.h"
#include "tool/Interrupts.h"
#include "tool/LibraryLog.h"
#include "tool/MediumContents.h"
#include "tool/SystemDrives.h"
#include "tool/Text.h"
#include "unix/KRUnixMODiskImpl.h"

namespace tool {

using nlohmann::ordered_json;

namespace {

ordered_json mountsAsJson(const std::vector<Mount>& mounts)
{
    ordered_json list = ordered_json::array();
    for (const Mount& mount : mounts)
        list.push_back({{"device", mount.source}, {"directory", jsonText(mount.directory)}});
    return list;
}

ordered_json driveAsJson(const SystemDrive& drive)
{
    const MediumState state = mediumState(drive.path);
    return {{"path", drive.path},
            {"node", drive.node},
            {"address", drive.address},
            {"vendor", jsonText(drive.vendor)},
            {"model", jsonText(drive.model)},
            {"serial", jsonText(drive.serial.empty() ? inquiredSerialNumber(drive.path) : drive.serial)},
            {"ready", state.ready ? ordered_json(*state.ready) : ordered_json()},
            {"medium", jsonText(state.text)},
            {"mounts", mountsAsJson(mountsOf(deviceNumbers(drive.node)))}};
}

ordered_json partitionsAsJson(const std::string& node)
{
    constexpr std::uint64_t sectorBytes = 512;
    const std::set<dev_t> devices = deviceNumbers(node);
    ordered_json list = ordered_json::array();
    for (const PartInfo& partition : KRUnixMODiskImpl::getPartDataByDiskName(node)) {
        if (isOneOf(partition.partName, devices)) // the library goes by the beginning of the name
            list.push_back({{"node", partition.partName},
                            {"bytes", std::strtoull(partition.partSize.c_str(), nullptr, 10) * sectorBytes},
                            {"type", jsonText(partition.partType)},
                            {"id", partition.partId},
                            {"fileSystem", fileSystemOn(partition.partName)}});
    }
    return list;
}

/// With which the kernel stores the names on a mounted medium; empty: with the one that it was built for.
std::string characterSet(const Mount& mount)
{
    const std::string key = ",iocharset=";
    const std::string options = "," + mount.options + ",";
    const std::size_t start = options.find(key);
    if (hasOption(mount.options, "utf8"))
        return "utf8";
    if (start == std::string::npos)
        return {};
    const std::string value = options.substr(start + key.size());
    return value.substr(0, value.find(','));
}

void addSpace(ordered_json& document, KRUnixMODiskImpl& backend)
{
    KRQuadWord available;
    KRQuadWord free;
    if (!backend.get_disc_free_space(available, free))
        throw libraryFailure("free space");
    document["available"] = static_cast<std::uint64_t>(available);
    document["free"] = static_cast<std::uint64_t>(free);
}

/// The library takes a disk's name for a prefix, and finds the directory of /dev/sdaa1 for /dev/sda.
std::string ownDirectory(const Drive& drive, KRUnixMODiskImpl& backend)
{
    const LibraryCall call;
    const std::string directory = backend.GetLogicaldriveLetter(); // scans, too
    const std::vector<PartInfo> partitions = KRUnixMODiskImpl::getPartDataByDiskName(drive.node);
    const bool own = !partitions.empty() && isOneOf(partitions.front().partName, deviceNumbers(drive.node));
    return own ? directory : std::string();
}

/// Where the medium is mounted.
struct MountsOfDrive {
    std::vector<Mount> own; ///< seen by this process
    std::vector<ForeignMount> foreign;
};

ordered_json otherMounts(const MountsOfDrive& mounts, const std::string& directory)
{
    ordered_json list = ordered_json::array();
    for (const Mount& mount : mounts.own) {
        if (mount.directory != directory)
            list.push_back(jsonText(mountText(mount)));
    }
    for (const ForeignMount& foreign : mounts.foreign)
        list.push_back(jsonText(foreignText(foreign)));
    return list;
}

/// What can be told of the contents without a mount.
void addContents(ordered_json& document, const std::string& node)
{
    document["unusable"] = unusableContents(node);
    document["warning"] = "";
    for (const std::string& partition : partitionNodes(node)) {
        if (isMarkedDirty(partition).value_or(false))
            document["warning"] = damagedText(partition, dirtySign);
    }
}

ordered_json infoAsJson(const Drive& drive, const MountsOfDrive& mounts)
{
    KRUnixMODiskImpl backend(drive.name, "", 0, 0, true);
    const MediumState state = mediumState(drive.name);
    const std::string logicalDrive = ownDirectory(drive, backend);
    stopIfInterrupted();
    ordered_json document = {{"serial", jsonText(inquiredSerialNumber(drive.name))},
                             {"nativePath", drive.node},
                             {"ready", state.ready ? ordered_json(*state.ready) : ordered_json()},
                             {"medium", jsonText(state.text)},
                             {"logicalDrive", logicalDrive},
                             {"mounted", false},
                             {"otherMounts", otherMounts(mounts, logicalDrive)},
                             {"partitions", partitionsAsJson(drive.node)}};
    addContents(document, drive.node);
    for (const Mount& mount : mounts.own) {
        if (mount.directory != logicalDrive)
            continue;
        document["mounted"] = true;
        document["characterSet"] = characterSet(mount);
        addSpace(document, backend);
    }
    return document;
}

std::string sizeText(const ordered_json& document, const char* key)
{
    return tool::sizeText(document[key].get<std::uint64_t>());
}

void printInfo(const ordered_json& document, Output& output)
{
    const bool mounted = document["mounted"];
    std::vector<std::vector<std::string>> rows = {{"serial number", output.shown(document["serial"])},
                                                  {"native path", document["nativePath"]},
                                                  {"medium", output.shown(document["medium"])}};
    const std::string logicalDrive = document["logicalDrive"];
    if (!logicalDrive.empty())
        rows.push_back({"logical drive", logicalDrive, mounted ? "mounted" : "not mounted"});
    for (const ordered_json& mount : document["otherMounts"])
        rows.push_back({"mounted elsewhere", output.shown(mount)});
    for (const ordered_json& partition : document["partitions"])
        rows.push_back({"partition", partition["node"], sizeText(partition, "bytes"), output.shown(partition["type"]),
                        partition["fileSystem"]});
    for (const char* const key : {"unusable", "warning"}) {
        const std::string text = document[key];
        if (!text.empty())
            rows.push_back({key, text});
    }
    if (mounted)
        rows.insert(rows.end(), {{"available", sizeText(document, "available")}, {"free", sizeText(document, "free")}});
    if (mounted && document["characterSet"] != "utf8")
        rows.push_back({"names stored in", document["characterSet"]});
    output.table(rows);
}

std::string mountsText(const ordered_json& mounts)
{
    std::string text;
    for (const ordered_json& mount : mounts)
        text += (text.empty() ? "" : ", ") + mount["directory"].get<std::string>();
    return text;
}

} // namespace

void listDrives(const Arguments& arguments, Output& output)
{
    ordered_json list = ordered_json::array();
    for (const SystemDrive& drive : systemDrives(arguments.fixed)) {
        stopIfInterrupted(); // each may take its time to answer
        list.push_back(driveAsJson(drive));
    }
    stopIfInterrupted();
    if (output.json())
        return output.document({{"drives", list}});
    if (list.empty())
        return output.remark("no removable SCSI drives");
    std::vector<std::vector<std::string>> rows = {
        {"PATH", "NODE", "ADDRESS", "VENDOR", "MODEL", "SERIAL", "MEDIUM", "MOUNTED ON"}};
    for (const ordered_json& drive : list) {
        std::vector<std::string> row;
        for (const char* const key : {"path", "node", "address", "vendor", "model", "serial", "medium"})
            row.push_back(output.shown(drive[key]));
        row.push_back(output.shown(mountsText(drive["mounts"])));
        rows.push_back(row);
    }
    output.table(rows);
}

void showInfo(const Arguments& arguments, Output& output)
{
    const Drive drive = reserveDrive(arguments.drive, arguments.fixed);
    const std::set<dev_t> devices = deviceNumbers(drive.node);
    const MountsOfDrive mounts = {mountsOf(devices), foreignMounts(devices)};
    takeOwnMounts(); // the library unmounts what a disk without partitions has mounted, and this is a question
    const ordered_json document = infoAsJson(drive, mounts);
    if (output.json())
        output.document(document);
    else
        printInfo(document, output);
}

} // namespace tool
