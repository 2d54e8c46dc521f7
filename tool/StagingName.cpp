#include "tool/StagingName.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "tool/Failure.h"
#include "tool/Text.h"

namespace tool {

std::string stagingName(int number)
{
    return ".krmo-incomplete" + (number == 0 ? "" : "." + std::to_string(number));
}

std::string uniqueStagingName()
{
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz012345";
    std::array<unsigned char, 6> random{};
    if (getrandom(random.data(), random.size(), 0) == -1)
        throw systemFailure("random number", errno);
    std::string name = stagingName(0) + ".";
    for (const unsigned char number : random)
        name += letters[number % letters.size()];
    return name;
}

bool isStagingName(const std::string& name)
{
    const std::string own = folded(name);
    for (int number = 0; number < mostStagingNames; ++number) {
        if (own == folded(stagingName(number)))
            return true;
    }
    return false;
}

bool leadsToStaging(const Folder& root, const std::string& name)
{
    const auto named = root.look(name);
    for (int number = 0; named && number < mostStagingNames; ++number) {
        const auto staging = root.look(stagingName(number));
        if (staging && isSame(*staging, *named))
            return true;
    }
    return false;
}

} // namespace tool
