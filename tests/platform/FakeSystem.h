#pragma once

#include <scsi/sg.h>
#include <sys/stat.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

/// Stand-ins for the system calls of the platform library: while one of these exists, /sys and /dev are a temporary
/// tree, nodes there have the numbers that they were given, and drives answer what a test says.
struct FakeSystem {
    FakeSystem();
    ~FakeSystem();

    /// A device as the kernel shows it, with nodes 21:N for names that begin with "sg" and 8:N for others.
    void plug(const std::string& address, const std::vector<std::string>& names, int minor, const char* bus = "scsi");
    /// All devices go away; who has one open keeps a descriptor that answers ENODEV.
    void unplugAll();
    void addNode(const std::string& path, mode_t kind, int majorNumber, int minorNumber);
    void addLink(const std::string& path, const std::string& destination);

    std::string root;
    std::map<ino_t, std::pair<mode_t, dev_t>> nodes;
    std::set<ino_t> gone;                  ///< nodes whose devices answer ENODEV
    std::vector<std::string> opened;       ///< what under /dev and for what: "/dev/sg1 2" (O_RDWR)
    int refusal = 0;                       ///< errno of every opening for writing
    std::function<int(sg_io_hdr&)> answer; ///< 0, or the errno of SG_IO
};
