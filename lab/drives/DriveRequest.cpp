#include "lab/drives/DriveRequest.h"

#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

#include "lab/support/SystemCall.h"

namespace lab {

Descriptor newControlSocket()
{
    return Descriptor(checked(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
}

sockaddr_un controlAddress()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    controlPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

std::string requestOfDrives(const std::string& request)
{
    const sockaddr_un address = controlAddress();
    const Descriptor connection = newControlSocket();
    checked(::connect(connection.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            "reach the lab's drives");
    writeAll(connection.number(), request.data(), request.size());
    checked(::shutdown(connection.number(), SHUT_WR), "end a request");
    std::string answer;
    while (readOnto(answer, connection.number())) {
    }
    if (answer.empty() || answer[0] != requestAccepted) {
        throw std::runtime_error(answer.substr(std::min<size_t>(answer.size(), 1)) + " (asked: " + request + ")");
    }
    return answer.substr(1);
}

} // namespace lab
