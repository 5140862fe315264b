#pragma once
// Stands between a client and a server on the loopback address: keeps the statements that clients
// sent, byte for byte, and can spoil or cut what the server answers.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vantry::test {

class TcpRelay {
public:
    // May change the piece of the server's answer; false cuts the connection behind it. Called on
    // the relay's thread.
    using Spoiler = std::function<bool(std::string& piece)>;

    explicit TcpRelay(int server_port);
    ~TcpRelay();
    TcpRelay(const TcpRelay&) = delete;
    TcpRelay& operator=(const TcpRelay&) = delete;

    int Port() const { return port_; }
    void Spoil(Spoiler spoiler);
    // Queries and bytes aren't kept from now on: a load of a million rows would fill the memory.
    void KeepNothing() { keeps_ = false; }
    // How long each piece is held back from now on, in both directions.
    void SetDelay(std::chrono::microseconds delay) { delay_us_ = delay.count(); }
    // How often the talk went over from the client to the server, since the last call.
    std::int64_t TakeRoundTrips() { return round_trips_.exchange(0); }
    // The texts of the queries (command 3 of the MySQL protocol) of all connections, in order.
    std::vector<std::string> Queries() const;

private:
    struct Link;
    void Work();
    void Accept(std::vector<Link>& links) const;
    bool Pump(Link& link, bool from_client);
    void KeepQueries(Link& link);
    // Sends the pieces whose time has come; how long until the next one's has, below 0 for none.
    std::chrono::nanoseconds SendDue();
    void CloseLink(const Link& link);

    int server_port_;
    int port_ = 0;
    int listener_ = -1;
    int wake_ = -1;  // readable: end
    mutable std::mutex mutex_;
    Spoiler spoiler_;
    std::vector<std::string> queries_;
    std::atomic<bool> keeps_ = true;
    std::atomic<std::int64_t> delay_us_ = 0;
    std::atomic<std::int64_t> round_trips_ = 0;
    struct Held {
        std::chrono::steady_clock::time_point due;
        int socket;
        std::string piece;
    };
    std::deque<Held> held_;
    std::thread worker_;
};

}  // namespace vantry::test
