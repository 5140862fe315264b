#pragma once
// A port on the loopback address where no server of the wanted kind is: clients are let in and hear
// nothing, or the words of another service.

#include "support/loopback.h"

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vantry::test {

class QuietPort {
public:
    explicit QuietPort(std::string words = {}) : words_(std::move(words)) {
        const auto listener = Listen();
        listener_ = listener.socket;
        port_ = listener.port;
        worker_ = std::thread([this] { Serve(); });
    }
    ~QuietPort() {
        shutdown(listener_, SHUT_RDWR);  // clients that wait get their end
        worker_.join();
        close(listener_);
    }
    QuietPort(const QuietPort&) = delete;
    QuietPort& operator=(const QuietPort&) = delete;

    int Port() const { return port_; }

private:
    void Serve() const {
        std::vector<int> clients;
        for (int client = 0; (client = accept(listener_, nullptr, nullptr)) >= 0;) {
            clients.push_back(client);
            if (!words_.empty()) {
                send(client, words_.data(), words_.size(), MSG_NOSIGNAL);
                shutdown(client, SHUT_WR);
            }
        }
        for (const int client : clients) {
            close(client);
        }
    }

    std::string words_;
    int listener_ = -1;
    int port_ = 0;
    std::thread worker_;
};

}  // namespace vantry::test
