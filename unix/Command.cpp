#include "unix/Command.h"

#include <cerrno>

Command::Command(const std::string& line) : _stream(popen(line.c_str(), "r")) {}

Command::~Command()
{
    close();
}

/// Whether a signal broke the reading off, which then goes on.
static bool isInterrupted(std::FILE* stream)
{
    if (ferror(stream) == 0 || errno != EINTR)
        return false;
    clearerr(stream);
    return true;
}

std::string Command::readAll()
{
    std::string output;
    bool goesOn = true;
    while (goesOn) {
        char piece[256] = {}; // an interrupted fgets leaves what it read in here, without an end, and answers null
        goesOn = fgets(piece, sizeof piece, _stream) != nullptr || isInterrupted(_stream);
        output += piece;
    }
    return output;
}

void Command::close()
{
    if (_stream != nullptr)
        pclose(_stream);
    _stream = nullptr;
}
