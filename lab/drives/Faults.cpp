#include "lab/drives/Faults.h"

#include <filesystem>
#include <fstream>

#include "lab/support/Process.h"

namespace lab {

namespace {

namespace fs = std::filesystem;

const std::string awaySuffix = ".away";
const std::string folder = "/run/lab-faults"; // in the file system, since faults outlive the process that made them
const std::string list = folder + "/files";

void runShell(const std::string& line)
{
    runCommand({"sh", "-c", line});
}

// A device that a process has open is not read again, and its partitions stay as they were.
void readPartitionTable(const std::string& blockNode)
{
    runShell("blockdev --rereadpt " + blockNode + " 2>&1 || true");
}

} // namespace

void takeAway(const std::string& path)
{
    fs::create_directories(folder);
    std::ofstream(list, std::ios::app) << path << "\n";
    fs::rename(path, path + awaySuffix);
}

void replaceProgram(const std::string& path, const std::string& line)
{
    takeAway(path);
    std::ofstream(path) << "#!/bin/sh\n" << line << "\n";
    fs::permissions(path, fs::perms::owner_all);
}

// Opening a fifo ends once both sides have done so: that is when the shell in the background knows.
void letHangAndDie(const std::string& path)
{
    const std::string fifo = folder + "/fifo";
    replaceProgram(path, "read x <" + fifo + "; rm " + fifo + "; kill -KILL $$");
    runShell("mkfifo " + fifo + "; (: >" + fifo + ") </dev/null >/dev/null 2>&1 &");
}

void restoreFiles()
{
    std::ifstream paths(list);
    for (std::string path; std::getline(paths, path);) {
        fs::remove_all(path);
        fs::rename(path + awaySuffix, path);
    }
    fs::remove(list);
}

void overwriteSectors(const std::string& blockNode, int first, int number, const std::string& command)
{
    const std::string start = std::to_string(first);
    const std::string size = " bs=512 count=" + std::to_string(number);
    fs::create_directories(folder + "/sectors");
    if (!fs::exists(folder + "/sectors/" + start)) {
        runShell("dd if=" + blockNode + " of=" + folder + "/sectors/" + start + " skip=" + start + size);
    }
    runShell("(" + command + ") | dd of=" + blockNode + " conv=fsync iflag=fullblock seek=" + start + size);
    readPartitionTable(blockNode);
}

// 446 bytes of program, four entries, a signature.
void overwritePartitionTable(const std::string& blockNode, const std::string& entries)
{
    overwriteSectors(blockNode, 0, 1,
                     "(head -c 446 /dev/zero; printf '" + entries +
                         "'; head -c 64 /dev/zero) | (head -c 510; printf '\\125\\252')");
}

void restoreSectors(const std::string& blockNode)
{
    if (!fs::exists(folder + "/sectors")) {
        return;
    }
    for (const fs::directory_entry& saved : fs::directory_iterator(folder + "/sectors")) {
        runShell("dd conv=fsync if=" + saved.path().string() + " of=" + blockNode +
                 " bs=512 seek=" + saved.path().filename().string());
    }
    fs::remove_all(folder + "/sectors");
    readPartitionTable(blockNode);
}

} // namespace lab
