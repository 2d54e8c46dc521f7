#include "lab/target/ControlSocket.h"

#include <sys/socket.h>

#include <filesystem>
#include <thread>

#include "lab/drives/DriveRequest.h"
#include "lab/support/SystemCall.h"

namespace lab {

namespace {

using Obey = std::function<std::string(const std::string&)>;

std::string answerTo(const std::string& request, const Obey& obey)
{
    try {
        return requestAccepted + obey(request);
    } catch (const std::exception& error) {
        return requestRefused + std::string(error.what());
    }
}

// Whoever asked may be gone before the answer.
void serve(const Descriptor& connection, const Obey& obey)
{
    std::string request;
    while (readOnto(request, connection.number())) {
    }
    const std::string answer = answerTo(request, obey);
    try {
        writeAll(connection.number(), answer.data(), answer.size());
    } catch (const std::system_error&) {
    }
}

[[noreturn]] void acceptAll(const Descriptor& listener, const Obey& obey)
{
    while (true) {
        Descriptor connection(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
        std::thread([connection = std::move(connection), &obey] { serve(connection, obey); }).detach();
    }
}

} // namespace

void listenForRequests(const Obey& obey)
{
    const sockaddr_un address = controlAddress();
    std::filesystem::create_directories(std::filesystem::path(controlPath).parent_path());
    Descriptor listener = newControlSocket();
    checked(::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "bind");
    checked(::listen(listener.number(), SOMAXCONN), "listen");
    std::thread([listener = std::move(listener), obey] { acceptAll(listener, obey); }).detach();
}

} // namespace lab
