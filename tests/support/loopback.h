#pragma once
// Sockets on the loopback address.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace vantry::test {

inline sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// A socket that listens on a free port.
struct Listener {
    int socket = -1;
    int port = 0;
};
inline Listener Listen() {
    Listener listener{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    auto address = Loopback(0);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener.socket, any, size) != 0 || listen(listener.socket, 16) != 0 ||
        getsockname(listener.socket, any, &size) != 0) {
        throw std::runtime_error("no free port on the loopback address");
    }
    listener.port = ntohs(address.sin_port);
    return listener;
}

// False when the other side is gone.
inline bool SendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// For a server that wants to be told its port.
inline int FreePort() {
    const auto listener = Listen();
    close(listener.socket);
    return listener.port;
}

}  // namespace vantry::test
