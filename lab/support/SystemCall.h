#pragma once

#include <string>

#include "tool/Descriptor.h"

namespace lab {

using tool::Descriptor;

/// Hands a system call's result through; throws std::system_error with `errno` and the step's name for a negative one.
int checked(int result, const std::string& step);

/// Opens a file, close-on-exec; throws std::system_error naming the path.
Descriptor openFile(const std::string& path, int flags);

/// Writes everything, over short writes and interruptions; throws std::system_error.
void writeAll(int descriptor, const void* data, size_t size);

/// Appends what one read() gives; false at the end, or where nothing can be read.
bool readOnto(std::string& text, int descriptor);

/// The two ends of a new pipe, close-on-exec.
struct Pipe {
    explicit Pipe(int moreFlags = 0);
    Descriptor readEnd;
    Descriptor writeEnd;
};

} // namespace lab
