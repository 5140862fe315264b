#pragma once
// Stands between a client and a server on the loopback address: keeps the statements that clients
// sent, byte for byte, and can spoil or cut what the server answers.

#include <functional>
#include <memory>
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
    // The texts of the queries (command 3 of the MySQL protocol) of all connections, in order.
    std::vector<std::string> Queries() const;
    // All that clients sent.
    std::string Sent() const;

private:
    struct Link;
    void Work();
    void Accept(std::vector<Link>& links) const;
    bool Pump(Link& link, bool from_client);
    void KeepQueries(Link& link);

    int server_port_;
    int port_ = 0;
    int listener_ = -1;
    int wake_ = -1;  // readable: end
    mutable std::mutex mutex_;
    Spoiler spoiler_;
    std::vector<std::string> queries_;
    std::string sent_;
    std::thread worker_;
};

}  // namespace vantry::test
