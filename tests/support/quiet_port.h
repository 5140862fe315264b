#pragma once
// A port on the loopback address where no server of the wanted kind is: clients are let in and hear
// nothing, or the words of another service.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vantry::test {

class QuietPort {
public:
    explicit QuietPort(std::string words = {}) : words_(std::move(words)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener_, any, size) != 0 || listen(listener_, 8) != 0 ||
            getsockname(listener_, any, &size) != 0) {
            throw std::runtime_error("no port to listen on");
        }
        port_ = ntohs(address.sin_port);
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
