#pragma once

#include <functional>
#include <string>

namespace lab {

/// Looks again and again, a few milliseconds apart, until the condition holds; throws std::runtime_error with
/// `what` if it does not within half a minute.
void waitUntil(const std::string& what, const std::function<bool()>& condition);

/// Waits for a file, such as a device node, to appear.
void waitForFile(const std::string& path);

} // namespace lab
