#pragma once

#include <string>
#include <vector>

#include "tool/Output.h"

namespace tool {

// One function a command. They end by Failure where they can't do what they are for.

/// What is named on the command line, as far as the command has it.
struct Arguments {
    std::string drive;
    std::vector<std::string> paths;
    std::string to;
    bool force = false;
    bool fixed = false;
    bool verify = true;
    bool skipExisting = false;
};

void listDrives(const Arguments& arguments, Output& output);
void showInfo(const Arguments& arguments, Output& output);
void mountMedium(const Arguments& arguments, Output& output);
void unmountMedium(const Arguments& arguments, Output& output);
void putFiles(const Arguments& arguments, Output& output);
void getFiles(const Arguments& arguments, Output& output);
void listFiles(const Arguments& arguments, Output& output);
void unloadMedium(const Arguments& arguments, Output& output);

} // namespace tool
