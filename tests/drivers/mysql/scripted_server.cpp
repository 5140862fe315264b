#include "drivers/mysql/scripted_server.h"

#include "support/loopback.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <utility>

namespace vantry::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr char kQuit = 1;
constexpr char kPrepare = 22;
constexpr char kSetting = 127;  // no command of the protocol

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

std::string Greeting(bool offers_tls) {
    std::string greeting =
        "\x0A"
        "5.7.99\0"
        "\1\0\0\0"
        "abcdefgh\0"s;                                     // the scramble's first part
    greeting += offers_tls ? "\xFF\xFF"sv : "\xFF\xF7"sv;  // what the server can, lower half
    greeting +=
        "\x2D\x02\0"  // utf8mb4, autocommit
        "\x0F\0\x15"  // what it can, upper half; length of the scramble
        "\0\0\0\0\0\0\0\0\0\0"
        "ijklmnopqrst\0"  // its second part
        "mysql_native_password\0"sv;
    return Packet(0, greeting);
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
    : script_(std::move(script)), wake_(eventfd(0, EFD_CLOEXEC)) {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to clients that are gone
    const auto listener = Listen();
    listener_ = listener.socket;
    port_ = listener.port;
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

std::string ScriptedServer::Receive() {
    std::array<char, 4096> piece;
    if ((!tls_ || SSL_pending(tls_.get()) == 0) && !Wait(client_)) {
        return {};
    }
    const auto got = tls_ ? SSL_read(tls_.get(), piece.data(), static_cast<int>(piece.size()))
                          : recv(client_, piece.data(), piece.size(), 0);
    return got <= 0 ? std::string() : std::string(piece.data(), static_cast<std::size_t>(got));
}

void ScriptedServer::Send(std::string_view bytes) {
    if (tls_) {
        SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()));
    } else {
        SendAll(client_, bytes);
    }
}

// Behind the client's request for it, which is a packet of its own.
bool ScriptedServer::StartTls(int client) {
    std::array<char, 36> request;
    if (!Wait(client) || recv(client, request.data(), request.size(), MSG_WAITALL) !=
                             static_cast<ssize_t>(request.size())) {
        return false;
    }
    const auto context = script_.tls->ServerContext();
    tls_.reset(SSL_new(context.get()));
    SSL_set_fd(tls_.get(), client);
    return SSL_accept(tls_.get()) == 1;
}

// The command in what the client sends next, whose packets are short and come whole; kQuit when it
// is gone, kSetting when it sets something of the session.
char ScriptedServer::Take() {
    constexpr std::size_t kHead = 4;
    const auto packet = Receive();
    if (packet.empty()) {
        return kQuit;
    }
    const std::lock_guard lock(mutex_);
    sent_ += packet;
    if (packet.find("set session ") != std::string_view::npos) {
        return kSetting;
    }
    return packet.size() > kHead ? packet[kHead] : '\0';
}

void ScriptedServer::Serve(int client) {
    client_ = client;
    tls_.reset();
    if (script_.per_byte.count() == 0) {
        SendAll(client, script_.greeting);
    } else {
        for (const char byte : script_.greeting) {
            pollfd ends{wake_, POLLIN, 0};
            if (poll(&ends, 1, static_cast<int>(script_.per_byte.count())) != 0) {
                return;
            }
            SendAll(client, std::string_view(&byte, 1));
        }
    }
    if ((script_.tls != nullptr && !StartTls(client)) || Take() == kQuit) {
        return;
    }
    Send(script_.login_answer);
    for (const auto& answer : script_.login_more) {
        const auto packet = Receive();
        if (packet.empty()) {
            return;
        }
        const std::lock_guard lock(mutex_);
        sent_ += packet;
        Send(answer);
    }
    bool said_all = false;
    for (char command = Take(); command != kQuit; command = Take()) {
        if (command == kSetting) {
            Send(OkPacket(1));
        } else if (command == kPrepare) {
            Send(script_.prepare_answer);
            if (script_.answer.empty()) {
                return;
            }
        } else if (!said_all) {
            Send(script_.answer);
            if (!script_.then_hangs) {
                shutdown(client, SHUT_WR);  // what the client still says is heard
            }
            said_all = true;
        }
    }
}

}  // namespace vantry::test
