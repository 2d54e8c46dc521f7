#include "lab/drives/Waiting.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace lab {

void waitUntil(const std::string& what, const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("waited in vain: " + what);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void waitForFile(const std::string& path)
{
    waitUntil(path + " appears", [&path] { return std::filesystem::exists(path); });
}

} // namespace lab
