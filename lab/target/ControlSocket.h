#pragma once

#include <functional>
#include <string>

namespace lab {

/// Takes requests from now on, in threads of their own, and never ends. `obey` may throw std::exception, whose text
/// goes to whoever asked.
void listenForRequests(const std::function<std::string(const std::string&)>& obey);

} // namespace lab
