// ls and get on a damaged FAT: what can be had is had, and the rest is named.

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "lab/support/Process.h"
#include "tests/tool/ToolTest.h"

namespace fs = std::filesystem;

namespace {

/// A directory entry's fields, by their offsets.
constexpr std::size_t clusterField = 26;
constexpr std::size_t sizeField = 28;

/// The tables and the first folders of a medium that is not in use, to be changed.
class RawFat {
public:
    explicit RawFat(const lab::EmulatedDrive& drive) : _file(drive.partitionNode(1), std::ios::in | std::ios::out)
    {
        _bytes.resize(8 << 20);
        _file.read(_bytes.data(), static_cast<std::streamsize>(_bytes.size()));
    }
    ~RawFat() { _file.seekp(0).write(_bytes.data(), static_cast<std::streamsize>(_bytes.size())); }

    /// Where the entry of a name stands, as FAT writes it: "NAME    EXT".
    std::size_t entry(const std::string& name, std::size_t from = 0) const { return _bytes.find(name, from); }

    std::string field(std::size_t offset, std::size_t length) const { return _bytes.substr(offset, length); }
    void set(std::size_t offset, const std::string& value) { _bytes.replace(offset, value.size(), value); }

private:
    std::fstream _file;
    std::string _bytes;
};

struct DamagedMediumTest : ToolTest {
    const lab::EmulatedDrive drive = add();

    void put(const std::string& source) { ASSERT_TRUE(ended(run("put " + drive.genericNode + " " + source), 0)); }
    ToolResult get(const std::string& path) const
    {
        return run("get " + drive.genericNode + " " + path + " --to " + folder + "/back");
    }
};

} // namespace

TEST_F(DamagedMediumTest, WhatCanBeReadIsFetchedAndTheRestNamed)
{
    for (const char* const name : {"SLASHED", "TWIN1", "TWIN2", "HUGE", "TORN", "LOOP/IN", "GOOD"})
        file(std::string("tree/") + name, 9000);
    put(folder + "/tree");
    {
        RawFat fat(drive);
        fat.set(fat.entry("SLASHED    ") + 3, "/");
        fat.set(fat.entry("TWIN2      ") + 4, "1");
        fat.set(fat.entry("HUGE       ") + sizeField, "\xff\xff\xff\xff");
        fat.set(fat.entry("TORN       ") + clusterField, "\xef\xff");
        const std::size_t self = fat.entry(".          ", fat.entry("TREE") - 1); // not of the loop, but above it
        fat.set(fat.entry("LOOP       ") + clusterField, fat.field(self + clusterField, 2));
    }
    const ToolResult got = get("tree");
    EXPECT_EQ(1, got.status);
    for (const char* const said : {"/tree: a name can't be read", "TWIN1: the name is there twice", "HUGE: is larger",
                                   "TORN: ", "Input/output error", "got 2 files", "/tree/LOOP"})
        EXPECT_NE(std::string::npos, got.said.find(said)) << said << "\n" << got.said;
    for (const char* const name : {"GOOD", "TWIN1"})
        EXPECT_NO_THROW(lab::runCommand({"cmp", folder + "/tree/GOOD", folder + "/back/tree/" + name})) << name;
    const ToolResult listed = run("ls " + drive.genericNode + " tree");
    EXPECT_EQ(1, listed.status);
    for (const char* const said : {"GOOD", "HUGE", "a name can't be read", "twice"})
        EXPECT_NE(std::string::npos, listed.said.find(said)) << said << "\n" << listed.said;
}

// Each folder holds A and B, and both lead to the next one: 2^26 ways to the last.
TEST_F(DamagedMediumTest, CrossedFoldersAreFetchedOnce)
{
    std::string path = folder + "/A";
    for (int level = 0; level < 26; ++level, path += "/A")
        fs::create_directories(path + "/B");
    put(folder + "/A");
    {
        RawFat fat(drive);
        const std::string crossed = "B          \x10";
        for (std::size_t at = fat.entry(crossed); at != std::string::npos; at = fat.entry(crossed, at + 1)) {
            for (const std::size_t sibling : {at - 32, at + 32}) {
                if (fat.field(sibling, 12) == "A          \x10")
                    fat.set(at + clusterField, fat.field(sibling + clusterField, 2));
            }
        }
    }
    EXPECT_TRUE(ended(get("A"), 1, "/A/A/B: holds the same as another folder"));
    EXPECT_TRUE(fs::exists(folder + "/back" + path.substr(folder.size(), path.size() - folder.size() - 2)));
}

TEST_F(DamagedMediumTest, DeeperThan64FoldersIsLeftOut)
{
    std::string path = folder + "/deep";
    for (int level = 0; level < 66; ++level)
        path += "/d";
    fs::create_directories(path);
    EXPECT_TRUE(ended(run("put " + drive.genericNode + " " + folder + "/deep"), 1, "lies in more than 64 folders"));
    EXPECT_EQ("", namesOn(drive));
}
