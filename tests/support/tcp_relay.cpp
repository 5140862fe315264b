#include "support/tcp_relay.h"

#include "support/loopback.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <utility>

namespace vantry::test {
namespace {

constexpr std::size_t kPacketHeader = 4;  // three bytes of length, one sequence number
constexpr char kQueryCommand = 3;

}  // namespace

struct TcpRelay::Link {
    int client = -1;
    int server = -1;
    std::string unread;  // of the client's packets
    bool client_spoke_last = false;

    // Somebody in this process may hold a copy of the descriptors.
    void Close() const {
        shutdown(client, SHUT_RDWR);
        shutdown(server, SHUT_RDWR);
        close(client);
        close(server);
    }
};

TcpRelay::TcpRelay(int server_port) : server_port_(server_port) {
    const auto listener = Listen();
    listener_ = listener.socket;
    port_ = listener.port;
    wake_ = eventfd(0, EFD_CLOEXEC);
    worker_ = std::thread([this] { Work(); });
}

TcpRelay::~TcpRelay() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(wake_, &one, sizeof one);
    worker_.join();
    close(listener_);
    close(wake_);
}

void TcpRelay::Spoil(Spoiler spoiler) {
    const std::lock_guard lock(mutex_);
    spoiler_ = std::move(spoiler);
}

std::vector<std::string> TcpRelay::Queries() const {
    const std::lock_guard lock(mutex_);
    return queries_;
}

void TcpRelay::Work() {
    prctl(PR_SET_TIMERSLACK, 1);  // nanosecond: waits aren't drawn out to be put together
    std::vector<Link> links;
    for (;;) {
        std::vector<pollfd> waits = {{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const auto& link : links) {
            waits.push_back({link.client, POLLIN, 0});
            waits.push_back({link.server, POLLIN, 0});
        }
        const auto pause = SendDue();
        const timespec until{pause.count() / 1'000'000'000, pause.count() % 1'000'000'000};
        ppoll(waits.data(), waits.size(), pause.count() < 0 ? nullptr : &until, nullptr);
        if (waits[0].revents != 0) {
            break;
        }
        std::vector<Link> kept;
        for (std::size_t k = 0; k < links.size(); ++k) {
            const bool open = (waits[2 + 2 * k].revents == 0 || Pump(links[k], true)) &&
                              (waits[3 + 2 * k].revents == 0 || Pump(links[k], false));
            if (open) {
                kept.push_back(std::move(links[k]));
            } else {
                CloseLink(links[k]);
            }
        }
        links = std::move(kept);
        if (waits[1].revents != 0) {
            Accept(links);
        }
    }
    for (const auto& link : links) {
        link.Close();
    }
}

void TcpRelay::Accept(std::vector<Link>& links) const {
    Link link;
    link.client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    link.server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = Loopback(server_port_);
    if (connect(link.server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        link.Close();
        return;
    }
    const int on = 1;
    setsockopt(link.client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(link.server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    links.push_back(std::move(link));
}

bool TcpRelay::Pump(Link& link, bool from_client) {
    std::array<char, 65536> buffer;
    const auto size =
        recv(from_client ? link.client : link.server, buffer.data(), buffer.size(), 0);
    if (size <= 0) {
        return false;
    }
    std::string piece(buffer.data(), static_cast<std::size_t>(size));
    bool go_on = true;
    {
        const std::lock_guard lock(mutex_);
        if (from_client && !keeps_) {
            link.unread.clear();
        } else if (from_client) {
            link.unread += piece;
            KeepQueries(link);
        } else {
            go_on = !spoiler_ || spoiler_(piece);
        }
    }
    if (from_client && !std::exchange(link.client_spoke_last, from_client)) {
        ++round_trips_;
    }
    link.client_spoke_last = from_client;
    const int to = from_client ? link.server : link.client;
    const auto delay = std::chrono::microseconds(delay_us_);
    if (delay.count() > 0 && go_on) {
        held_.push_back({std::chrono::steady_clock::now() + delay, to, std::move(piece)});
        return true;
    }
    // A client that doesn't read just now may be about to call Spoil: no lock while sending.
    return SendAll(to, piece) && go_on;
}

std::chrono::nanoseconds TcpRelay::SendDue() {
    while (!held_.empty()) {
        const auto pause = held_.front().due - std::chrono::steady_clock::now();
        if (pause.count() > 0) {
            return pause;
        }
        SendAll(held_.front().socket, held_.front().piece);
        held_.pop_front();
    }
    return std::chrono::nanoseconds(-1);
}

// What was said before is still heard.
void TcpRelay::CloseLink(const Link& link) {
    for (const auto& held : held_) {
        if (held.socket == link.client || held.socket == link.server) {
            SendAll(held.socket, held.piece);
        }
    }
    std::erase_if(held_, [&](const Held& held) {
        return held.socket == link.client || held.socket == link.server;
    });
    link.Close();
}

void TcpRelay::KeepQueries(Link& link) {
    const auto byte = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(link.unread[at]));
    };
    while (link.unread.size() >= kPacketHeader) {
        const auto length = byte(0) | byte(1) << 8 | byte(2) << 16;
        if (link.unread.size() < kPacketHeader + length) {
            return;
        }
        if (byte(3) == 0 && length > 0 && link.unread[kPacketHeader] == kQueryCommand) {
            queries_.push_back(link.unread.substr(kPacketHeader + 1, length - 1));
        }
        link.unread.erase(0, kPacketHeader + length);
    }
}

}  // namespace vantry::test
