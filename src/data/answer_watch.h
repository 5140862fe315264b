#pragma once
// Waits for a server have an end. A connection that waits longer than its limit for an answer is
// cut, and so is one that still waits some seconds after the user has cancelled: the call that
// waits then fails as with any lost connection. A network that swallows packets in silence is
// noticed by the system itself, within two minutes.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace vantry {

// Called when the user cancels, also from a signal handler: no server is waited for much longer
// from here on, in this process.
void CancelWaits() noexcept;
bool WaitsAreCancelled() noexcept;
// The cancelled work has ended, and other work begins in this process.
void AllowWaits() noexcept;

// Steps that are only right together, such as dropping a table and making it anew: a cancel waits
// until they are through.
class HoldCancel {
public:
    HoldCancel();
    ~HoldCancel();
    HoldCancel(const HoldCancel&) = delete;
    HoldCancel& operator=(const HoldCancel&) = delete;
};

// For a socket of TCP; nothing for others. What was sent and isn't confirmed for two minutes, or a
// partner that answers no probe for as long, ends the connection.
void NoticeDeadNetwork(int socket);

// The sockets that a piece of code opened, for libraries that don't give theirs away: connected
// stream sockets that this process has now and hadn't when the object was made.
class NewSockets {
public:
    NewSockets();
    std::vector<int> Find() const;

private:
    std::vector<int> former_;
};

// Why a wait was ended by us.
enum class WaitEnd : std::uint8_t { None, TooLong, Cancelled };

// A login, from its first byte to its last. A library waits for each byte anew, so a server that
// sends one now and then would keep it for ever; and it can't be told of a cancel. The sockets are
// known to the library alone until it returns: those that are new are cut, which can hit another
// login of the same moment. Without a thread to spare there is no watch.
class LoginWatch {
public:
    // despite_cancel: the login serves a cancel, which doesn't end it.
    explicit LoginWatch(std::chrono::seconds limit, bool despite_cancel = false);
    ~LoginWatch();
    LoginWatch(const LoginWatch&) = delete;
    LoginWatch& operator=(const LoginWatch&) = delete;

    WaitEnd Ended() const { return ended_.load(std::memory_order_acquire); }

private:
    void Look();

    NewSockets sockets_;
    std::chrono::steady_clock::time_point until_;
    bool despite_cancel_;
    std::atomic<WaitEnd> ended_ = WaitEnd::None;
    std::mutex mutex_;
    std::condition_variable over_changed_;
    bool over_ = false;
    std::thread thread_;
};

// The waits of one connection: cuts it when one takes longer than the limit, and has the server
// asked to stop when the user has cancelled.
class AnswerWatch {
public:
    using End = WaitEnd;

    explicit AnswerWatch(std::chrono::seconds limit) : limit_(limit) {}
    ~AnswerWatch();
    AnswerWatch(const AnswerWatch&) = delete;
    AnswerWatch& operator=(const AnswerWatch&) = delete;

    // The connection's sockets, kept under descriptors of our own: a library that closes its own in
    // the meantime must not make us cut another's. Once. Without a thread to spare there is no
    // watch.
    void Watch(const std::vector<int>& sockets);
    // How the partner is asked to stop what it does, once a wait, when the user has cancelled and
    // it goes on: called on a thread of its own, before the connection is cut. Before Watch.
    void SetStopper(std::function<void()> stop) { stop_ = std::move(stop); }
    std::chrono::seconds Limit() const { return limit_; }
    // Why the connection was cut, if it was.
    End Ended() const { return ended_.load(std::memory_order_acquire); }

    // One wait for an answer, `times` the limit long at most. Costs two stores. Waits don't nest: a
    // further one inside has no effect.
    class Wait {
    public:
        explicit Wait(AnswerWatch& watch, int times = 1)
            : watch_(watch), outer_(watch.Begin(times)) {}
        ~Wait() {
            if (outer_) {
                watch_.current_.store(0, std::memory_order_release);
            }
        }
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

    private:
        AnswerWatch& watch_;
        bool outer_;
    };

private:
    // False inside of another wait.
    bool Begin(int times) {
        if (current_.load(std::memory_order_relaxed) != 0) {
            return false;
        }
        times_.store(times, std::memory_order_relaxed);
        current_.store(++count_, std::memory_order_release);
        return true;
    }
    void Look();
    bool AskToStop();
    void Cut(End why);

    std::chrono::seconds limit_;
    std::vector<int> sockets_;
    std::atomic<std::uint64_t> current_ = 0;  // the number of the wait that goes on, or 0
    std::atomic<int> times_ = 1;
    std::uint64_t count_ = 0;
    std::atomic<End> ended_ = End::None;
    std::mutex mutex_;
    std::condition_variable over_changed_;
    bool over_ = false;
    std::function<void()> stop_;
    std::atomic<bool> is_stopping_ = false;
    std::thread stopping_;
    std::thread thread_;
};

}  // namespace vantry
