#include "drivers/mysql/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace vantry::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr char kQuit = 1;
constexpr char kPrepare = 22;
constexpr char kSetting = 127;  // no command of the protocol

void SendAll(int client, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

}  // namespace

std::string Packet(int number, std::string_view payload) {
    std::string packet;
    for (int shift = 0; shift < 24; shift += 8) {
        packet += static_cast<char>(payload.size() >> shift & 0xFF);
    }
    packet += static_cast<char>(number);
    return packet.append(payload);
}

std::string Lengthened(std::string_view text) {
    return static_cast<char>(text.size()) + std::string(text);
}

std::string Greeting() {
    return Packet(0,
                  "\x0A"
                  "5.7.99\0"
                  "\1\0\0\0"
                  "abcdefgh\0"  // the scramble's first part
                  "\xFF\xF7"    // what the server can, lower half: no TLS
                  "\x2D\x02\0"  // utf8mb4, autocommit
                  "\x0F\0\x15"  // what it can, upper half; length of the scramble
                  "\0\0\0\0\0\0\0\0\0\0"
                  "ijklmnopqrst\0"  // its second part
                  "mysql_native_password\0"sv);
}

std::string OkPacket(int number) {
    return Packet(number, "\0\0\0\2\0\0\0"sv);
}

std::string EndPacket(int number) {
    return Packet(number, "\xFE\0\0\2\0"sv);
}

std::string ErrorPacket(int number, int code) {
    return Packet(
        number,
        "\xFF"s + static_cast<char>(code & 0xFF) + static_cast<char>(code >> 8) + "#HY000no");
}

std::string ResultHead(int columns, unsigned char type) {
    std::string head = Packet(1, std::string(1, static_cast<char>(columns)));
    for (int k = 1; k <= columns; ++k) {
        const std::string name = "c" + std::to_string(k);
        head +=
            Packet(1 + k,
                   Lengthened("def") + Lengthened("d") + Lengthened("t") + Lengthened("t") +
                       Lengthened(name) + Lengthened(name) + std::string("\x0C\x2D\0\x40\0\0\0"sv) +
                       static_cast<char>(type) + std::string("\0\0\0\0\0"sv));
    }
    return head + EndPacket(columns + 2);
}

ScriptedServer::ScriptedServer(Script script)
    : script_(std::move(script)),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      wake_(eventfd(0, EFD_CLOEXEC)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, generic, size) != 0 || listen(listener_, 4) != 0 ||
        getsockname(listener_, generic, &size) != 0) {
        throw std::runtime_error("no port for the scripted server");
    }
    port_ = ntohs(address.sin_port);
    worker_ = std::thread([this] { Work(); });
}

ScriptedServer::~ScriptedServer() {
    const std::uint64_t one = 1;
    (void)!write(wake_, &one, sizeof one);
    worker_.join();
    close(listener_);
    close(wake_);
}

std::string ScriptedServer::Sent() const {
    const std::lock_guard lock(mutex_);
    return sent_;
}

// Until the descriptor has something to read; false at the end of the test.
bool ScriptedServer::Wait(int descriptor) const {
    std::array<pollfd, 2> watched{{{descriptor, POLLIN, 0}, {wake_, POLLIN, 0}}};
    poll(watched.data(), watched.size(), -1);
    return watched[1].revents == 0;
}

void ScriptedServer::Work() {
    while (Wait(listener_)) {
        const int client = accept(listener_, nullptr, nullptr);
        if (client >= 0) {
            Serve(client);
            close(client);
        }
    }
}

// The command in what the client sends next, whose packets are short and come whole; kQuit when it
// is gone, kSetting when it sets something of the session.
char ScriptedServer::Take(int client) {
    constexpr std::size_t kHead = 4;
    std::array<char, 4096> piece;
    if (!Wait(client)) {
        return kQuit;
    }
    const auto got = recv(client, piece.data(), piece.size(), 0);
    if (got <= 0) {
        return kQuit;
    }
    const std::lock_guard lock(mutex_);
    sent_.append(piece.data(), static_cast<std::size_t>(got));
    const std::string_view packet(piece.data(), static_cast<std::size_t>(got));
    if (packet.find("set session ") != std::string_view::npos) {
        return kSetting;
    }
    return packet.size() > kHead ? piece[kHead] : '\0';
}

void ScriptedServer::Serve(int client) {
    SendAll(client, script_.greeting);
    if (Take(client) == kQuit) {
        return;
    }
    SendAll(client, script_.login_answer);
    bool said_all = false;
    for (char command = Take(client); command != kQuit; command = Take(client)) {
        if (command == kSetting) {
            SendAll(client, OkPacket(1));
        } else if (command == kPrepare) {
            SendAll(client, script_.prepare_answer);
            if (script_.answer.empty()) {
                return;
            }
        } else if (!said_all) {
            SendAll(client, script_.answer);
            if (!script_.then_hangs) {
                shutdown(client, SHUT_WR);  // what the client still says is heard
            }
            said_all = true;
        }
    }
}

}  // namespace vantry::test
