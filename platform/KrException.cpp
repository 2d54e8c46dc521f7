#include "platform/KrException.h"

#include <utility>

KrException::KrException(std::string text) : _text(std::move(text)) {}

std::string KrException::formatError() const
{
    return _text;
}

const char* KrException::what() const noexcept
{
    return _text.c_str();
}
