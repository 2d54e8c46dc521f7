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
    using Node = std::pair<mode_t, dev_t>;

    FakeSystem();
    ~FakeSystem();

    /// A device as the kernel shows it, with nodes 21:N for names that begin with "sg" and 8:N for others.
    void plug(const std::string& address, const std::vector<std::string>& names, int minor, const char* bus = "scsi");
    /// All devices go away; who has one open keeps a descriptor that answers ENODEV.
    void unplugAll();
    void addNode(const std::string& path, mode_t kind, int majorNumber, int minorNumber);
    /// Makes a node another one. @return its inode.
    ino_t renumber(const std::string& path, const Node& node);
    void addLink(const std::string& path, const std::string& destination);

    /// Replaces what an attribute in sysfs says.
    void set(const std::string& path, const std::string& text);
    std::string content(const std::string& path) const;

    std::string root;
    std::map<ino_t, Node> nodes;
    std::map<std::string, Node> becomes;   ///< what a node is from its next opening on
    std::set<ino_t> gone;                  ///< nodes whose devices answer ENODEV
    std::set<std::string> claimed;         ///< nodes that somebody else has open exclusively
    std::vector<std::string> calls;        ///< what was opened and for what, "/dev/sg1 2" (O_RDWR), and BLKRRPART
    int refusal = 0;                       ///< errno of every opening for writing
    std::function<int(sg_io_hdr&)> answer; ///< 0, or the errno of SG_IO
};
