#include "lab/target/ControlSocket.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "lab/support/SystemCall.h"

namespace lab {

namespace {

constexpr char accepted = '+';
constexpr char refused = '-';

using Obey = std::function<std::string(const std::string&)>;

Descriptor newSocket()
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

std::string readToEnd(int descriptor)
{
    std::string text;
    std::array<char, 65536> buffer;
    for (ssize_t count = 1; count > 0;) {
        count = ::read(descriptor, buffer.data(), buffer.size());
        text.append(buffer.data(), count > 0 ? static_cast<size_t>(count) : 0);
    }
    return text;
}

std::string answerTo(const std::string& request, const Obey& obey)
{
    try {
        return accepted + obey(request);
    } catch (const std::exception& error) {
        return refused + std::string(error.what());
    }
}

// Whoever asked may be gone before the answer.
void serve(const Descriptor& connection, const Obey& obey)
{
    const std::string answer = answerTo(readToEnd(connection.number()), obey);
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

// The threads block all signals, which are for the thread that relays the program's.
void listenForRequests(const Obey& obey)
{
    const sockaddr_un address = controlAddress();
    std::filesystem::create_directories(std::filesystem::path(controlPath).parent_path());
    Descriptor listener = newSocket();
    checked(::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), "bind");
    checked(::listen(listener.number(), SOMAXCONN), "listen");
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread([listener = std::move(listener), obey] { acceptAll(listener, obey); }).detach();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::string requestOfDrives(const std::string& request)
{
    const sockaddr_un address = controlAddress();
    const Descriptor connection = newSocket();
    checked(::connect(connection.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            "reach the lab's drives");
    writeAll(connection.number(), request.data(), request.size());
    checked(::shutdown(connection.number(), SHUT_WR), "end a request");
    const std::string answer = readToEnd(connection.number());
    if (answer.empty() || answer[0] != accepted) {
        throw std::runtime_error(answer.substr(std::min<size_t>(answer.size(), 1)) + " (asked: " + request + ")");
    }
    return answer.substr(1);
}

} // namespace lab
