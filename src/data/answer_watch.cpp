// A thread for each connection looks twenty times a second whether a wait goes on, and since when
// by its own clock: the waits themselves, one for each row that is fetched, only count up. What is
// easy to get wrong: the descriptors. A library closes its socket when the connection fails, and
// the number goes to the next file that is opened; so the watch cuts by descriptors of its own.

#include "data/answer_watch.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace vantry {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookInterval{50};
// A short statement comes to its own end, with its rows.
constexpr std::chrono::milliseconds kStopGrace{80};
// A server that is only busy may still answer; the user has asked for an end.
constexpr std::chrono::seconds kCancelGrace{5};
constexpr int kDeadNetworkSeconds = 120;

std::atomic<bool> WaitsCancelled = false;
std::atomic<int> HeldBack = 0;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler sets it

int OptionOf(int socket, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool IsConnectedStream(int descriptor) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    return OptionOf(descriptor, SO_TYPE) == SOCK_STREAM &&
           getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

std::vector<int> ConnectedSockets() {
    std::vector<int> sockets;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end;
         !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor >= 0 && IsConnectedStream(descriptor)) {
            sockets.push_back(descriptor);
        }
    }
    return sockets;
}

}  // namespace

void CancelWaits() noexcept {
    WaitsCancelled.store(true, std::memory_order_relaxed);
}

bool WaitsAreCancelled() noexcept {
    return WaitsCancelled.load(std::memory_order_relaxed) &&
           HeldBack.load(std::memory_order_relaxed) == 0;
}

HoldCancel::HoldCancel() {
    HeldBack.fetch_add(1, std::memory_order_relaxed);
}

HoldCancel::~HoldCancel() {
    HeldBack.fetch_sub(1, std::memory_order_relaxed);
}

void AllowWaits() noexcept {
    WaitsCancelled.store(false, std::memory_order_relaxed);
}

void NoticeDeadNetwork(int socket) {
    const int domain = OptionOf(socket, SO_DOMAIN);
    if (domain != AF_INET && domain != AF_INET6) {
        return;
    }
    const int on = 1;
    const int idle_s = kDeadNetworkSeconds / 2;
    const int interval_s = kDeadNetworkSeconds / 12;
    const int probes = 6;
    const unsigned unconfirmed_ms = kDeadNetworkSeconds * 1000;
    setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle_s, sizeof idle_s);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval_s, sizeof interval_s);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
    // Probes are for an idle line. While something is on its way the system would go on sending it
    // for a quarter of an hour.
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &unconfirmed_ms, sizeof unconfirmed_ms);
}

NewSockets::NewSockets() : former_(ConnectedSockets()) {}

std::vector<int> NewSockets::Find() const {
    auto sockets = ConnectedSockets();
    std::erase_if(sockets, [this](int socket) {
        return std::find(former_.begin(), former_.end(), socket) != former_.end();
    });
    return sockets;
}

LoginWatch::LoginWatch(std::chrono::seconds limit, bool despite_cancel)
    : until_(Clock::now() + limit), despite_cancel_(despite_cancel) {
    try {
        thread_ = std::thread([this] { Look(); });
    } catch (const std::system_error&) {
        // The library's own limits hold.
    }
}

LoginWatch::~LoginWatch() {
    if (thread_.joinable()) {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        over_changed_.notify_all();
        thread_.join();
    }
}

// Goes on when it has cut: the library may try another address of the server.
void LoginWatch::Look() {
    std::unique_lock lock(mutex_);
    while (!over_changed_.wait_for(lock, kLookInterval, [this] { return over_; })) {
        const bool cancel = !despite_cancel_ && WaitsAreCancelled();
        if (!cancel && Clock::now() < until_) {
            continue;
        }
        // None yet: the library looks for the server's address, or for the server.
        for (const int socket : sockets_.Find()) {
            WaitEnd none = WaitEnd::None;
            ended_.compare_exchange_strong(none, cancel ? WaitEnd::Cancelled : WaitEnd::TooLong);
            shutdown(socket, SHUT_RDWR);
        }
    }
}

AnswerWatch::~AnswerWatch() {
    if (thread_.joinable()) {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        over_changed_.notify_all();
        thread_.join();
    }
    if (stopping_.joinable()) {
        stopping_.join();
    }
    for (const int socket : sockets_) {
        close(socket);
    }
}

void AnswerWatch::Watch(const std::vector<int>& sockets) {
    for (const int socket : sockets) {
        const int own = fcntl(socket, F_DUPFD_CLOEXEC, 0);
        if (own >= 0) {
            sockets_.push_back(own);
        }
    }
    if (sockets_.empty()) {
        return;
    }
    try {
        thread_ = std::thread([this] { Look(); });
    } catch (const std::system_error&) {
        // The system has no thread left: dead networks are noticed all the same.
    }
}

void AnswerWatch::Look() {
    std::uint64_t seen = 0;
    std::uint64_t asked = 0;  // to stop
    Clock::time_point since;
    Clock::time_point cancelled;  // when this was first seen
    std::unique_lock lock(mutex_);
    while (!over_changed_.wait_for(lock, kLookInterval, [this] { return over_; })) {
        const auto now = Clock::now();
        const bool cancel = WaitsAreCancelled();
        if (cancel && cancelled == Clock::time_point()) {
            cancelled = now;
        } else if (!cancel) {
            cancelled = {};
        }
        const auto wait = current_.load(std::memory_order_acquire);
        if (wait != seen) {
            seen = wait;
            since = now;
        }
        if (wait == 0) {
            continue;
        }
        if (now - since >= limit_ * times_.load(std::memory_order_relaxed)) {
            Cut(End::TooLong);
        } else if (cancel && now - std::max(since, cancelled) >= kCancelGrace) {
            Cut(End::Cancelled);
        } else if (cancel && stop_ && asked != wait &&
                   now - std::max(since, cancelled) >= kStopGrace) {
            asked = AskToStop() ? wait : asked;
        }
    }
}

// On a thread of its own: what asks may have to wait itself, and the watch goes on.
// False while an earlier request isn't through: it may concern the wait before this one.
bool AnswerWatch::AskToStop() {
    if (is_stopping_.load(std::memory_order_acquire)) {
        return false;
    }
    if (stopping_.joinable()) {
        stopping_.join();
    }
    is_stopping_.store(true, std::memory_order_relaxed);
    try {
        stopping_ = std::thread([this] {
            // The thread may have begun late, when the cancelled work was over.
            if (WaitsAreCancelled()) {
                stop_();
            }
            is_stopping_.store(false, std::memory_order_release);
        });
    } catch (const std::system_error&) {
        // The system has no thread left: the connection is cut in the end.
        is_stopping_.store(false, std::memory_order_relaxed);
    }
    return true;
}

void AnswerWatch::Cut(End why) {
    End none = End::None;
    if (ended_.compare_exchange_strong(none, why)) {
        for (const int socket : sockets_) {
            shutdown(socket, SHUT_RDWR);
        }
    }
}

}  // namespace vantry
