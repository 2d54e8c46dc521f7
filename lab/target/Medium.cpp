#include "lab/target/Medium.h"

#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "lab/support/SystemCall.h"
#include "lab/support/Values.h"

namespace lab {

namespace {

// "FIRST", "FIRST+NUMBER" or "all".
BlockRange toRange(const std::string& text)
{
    if (text == "all") {
        return {0, UINT64_MAX};
    }
    const size_t plus = text.find('+');
    return {toNumber(text.substr(0, plus)), plus == std::string::npos ? 1 : toNumber(text.substr(plus + 1))};
}

} // namespace

Medium::Medium(const std::string& path, uint32_t sectorSize)
    : _path(path), _file(openFile(path, O_RDWR)), _sectorSize(sectorSize),
      _blocks(std::filesystem::file_size(path) / sectorSize)
{
}

std::string Medium::description() const
{
    return "file=" + _path + ",sector-size=" + std::to_string(_sectorSize) +
           ",write-protect=" + (_isWriteProtected ? "yes" : "no") + _faults;
}

uint64_t Medium::goodBlocks(const Ranges& bad, uint64_t first, uint64_t number) const
{
    uint64_t good = number;
    for (const BlockRange& range : bad) {
        if (range.contains(first)) {
            return 0;
        }
        if (range.number > 0 && range.first > first) {
            good = std::min(good, range.first - first);
        }
    }
    return good;
}

uint64_t Medium::read(uint64_t first, const DataBuffer& data) const
{
    const uint64_t number = goodBlocks(_unreadable, first, data.size() / _sectorSize);
    data.part(0, number * _sectorSize).readFrom(_file.number(), first * _sectorSize);
    return number;
}

// Between two blocks that are lost or kept, each run of blocks goes to the file in one piece.
uint64_t Medium::write(uint64_t first, const DataBuffer& data) const
{
    const uint64_t number = goodBlocks(_unwritable, first, data.size() / _sectorSize);
    for (uint64_t done = 0; done < number;) {
        const uint64_t kept = goodBlocks(_lost, first + done, number - done);
        data.part(done * _sectorSize, kept * _sectorSize).writeTo(_file.number(), (first + done) * _sectorSize);
        done += std::max<uint64_t>(kept, 1);
    }
    return number;
}

bool Medium::set(const std::string& key, const std::string& value)
{
    static const std::map<std::string, Ranges Medium::*> ranges{
        {"unreadable", &Medium::_unreadable}, {"unwritable", &Medium::_unwritable}, {"lose-writes", &Medium::_lost}};
    if (key == "write-protect") {
        _isWriteProtected = toSwitch(value);
        return true;
    }
    const auto found = ranges.find(key);
    if (found != ranges.end()) {
        (this->*found->second).push_back(toRange(value));
        _faults += "," + key + "=" + value;
    }
    return found != ranges.end();
}

void Medium::heal()
{
    _faults.clear();
    _unreadable.clear();
    _unwritable.clear();
    _lost.clear();
}

} // namespace lab
