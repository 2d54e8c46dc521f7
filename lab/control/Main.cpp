// lab-drive: what a person does to the lab's drives, and what is wrong with them, by words for the shell.

#include <filesystem>
#include <iostream>

#include "lab/drives/DriveRequest.h"
#include "lab/drives/EmulatedDrives.h"
#include "lab/drives/Media.h"

namespace {

const char* const usage = "usage: lab-drive add KEY=VALUE,... | log [NUMBER] | remove-all\n"
                          "       lab-drive VERB DRIVE [KEY=VALUE,...]; lab/README.md lists the verbs\n";

// A drive is named by a node, with or without its folder, or by its address.
std::string addressOf(const std::string& drive)
{
    const std::string name = std::filesystem::path(drive).filename();
    for (const std::string deviceClass : {"block", "scsi_generic"}) {
        const std::string link = "/sys/class/" + deviceClass + "/" + name + "/device";
        if (std::filesystem::exists(link)) {
            return std::filesystem::canonical(link).filename();
        }
    }
    return drive;
}

// A medium is one that was taken out of a drive, or made as described.
std::string mediumFor(const std::string& description)
{
    const bool isMade = description.rfind("file=", 0) == 0 || description == "empty";
    return isMade ? description : lab::makeMedium(lab::parseDrive(description));
}

std::string obey(const std::vector<std::string>& words)
{
    const std::string argument = words.size() > 2 ? words[2] : "";
    if (words[0] == "add") {
        return lab::EmulatedDrives().add(lab::parseDrive(words.size() > 1 ? words[1] : "")).blockNode;
    }
    if (words.size() == 1 || words[0] == "log") {
        return lab::requestOfDrives(words[0] + " " + (words.size() > 1 ? words[1] : ""));
    }
    return lab::requestOfDrives(words[0] + " " + addressOf(words[1]) + " " +
                                (words[0] == "insert" ? mediumFor(argument) : argument));
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2) {
        std::cerr << usage;
        return 2;
    }
    try {
        const std::string told = obey({arguments + 1, arguments + count});
        std::cout << told << (told.empty() || told.back() == '\n' ? "" : "\n");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "lab-drive: " << error.what() << '\n';
        return 1;
    }
}
