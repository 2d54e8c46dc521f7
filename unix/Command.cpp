#include "unix/Command.h"

Command::Command(const std::string& line) : _stream(popen(line.c_str(), "r")) {}

Command::~Command()
{
    close();
}

std::string Command::readAll()
{
    std::string output;
    char piece[256] = {};
    while (fgets(piece, sizeof piece, _stream) != nullptr)
        output += piece;
    return output;
}

void Command::close()
{
    if (_stream != nullptr)
        pclose(_stream);
    _stream = nullptr;
}
