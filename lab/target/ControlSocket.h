#pragma once

#include <functional>
#include <string>

namespace lab {

/// Where the lab's drives take requests; reachable for root alone.
inline const std::string controlPath = "/run/lab/drives";

/// Takes requests from now on, in threads of their own, and never ends. `obey` may throw std::exception, whose text
/// goes to whoever asked.
void listenForRequests(const std::function<std::string(const std::string&)>& obey);

/// Sends a request and returns the answer; throws std::runtime_error with what was wrong with it.
std::string requestOfDrives(const std::string& request);

} // namespace lab
