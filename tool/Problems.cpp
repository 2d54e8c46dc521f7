#include "tool/Problems.h"

namespace tool {

void Problems::add(const Failure& failure)
{
    constexpr std::size_t mostBytes = 16 << 20;
    if (_number++ == 0)
        _status = failure.status();
    else if (_status != failure.status())
        _status = _status == statusWrongUse || failure.status() == statusWrongUse ? statusWrongUse : statusDeviceFailed;
    const std::string line = failure.what();
    if (_text.size() + line.size() < mostBytes)
        _text += (_text.empty() ? "" : "\n") + line;
    else
        ++_untold;
}

std::string Problems::text() const
{
    return _untold == 0 ? _text : _text + "\nand " + std::to_string(_untold) + " more";
}

void Problems::throwIfAny() const
{
    if (_number == 1)
        throw Failure(_status, text());
    if (_number != 0)
        throw Failure(_status, std::to_string(_number) + " obstacles, and nothing was written:\n" + text());
}

} // namespace tool
