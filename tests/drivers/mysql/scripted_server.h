#pragma once
// A server that says what a test wants, one client after the other: the greeting, the answer to the
// login, and the answer to every command.

#include "drivers/mysql/test_keys.h"

#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vantry::test {

// One packet: three bytes of length, its number, what it holds.
std::string Packet(int number, std::string_view payload);
// A text with its length before it, of less than 251 bytes.
std::string Lengthened(std::string_view text);
std::string Greeting(bool offers_tls = false);
std::string OkPacket(int number);
std::string EndPacket(int number);
std::string ErrorPacket(int number, int code);
// The head of a text result: the number of columns, their descriptions, the end packet. Columns are
// called c1, c2 ... of `type` (253 text, 3 integer, 246 decimal, 12 date and time, 16 bits).
std::string ResultHead(int columns, unsigned char type = 253);

struct Script {
    std::string greeting = Greeting();
    std::chrono::milliseconds per_byte{0};  // of the greeting; 0: it goes out at once
    std::string login_answer = OkPacket(2);
    std::vector<std::string> login_more = {};  // one answer to each further packet of the client
    const TestKeys* tls = nullptr;             // the greeting must offer it
    // To a statement that is to be prepared; without further words: that there is no such thing.
    std::string prepare_answer = ErrorPacket(1, 1295);
    std::string answer = OkPacket(1);  // to any other command; empty: there the preparation ends it
    bool then_hangs = false;           // behind that answer; else it closes the connection there
};

class ScriptedServer {
public:
    explicit ScriptedServer(Script script);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    int Port() const { return port_; }
    // All that clients sent, as it was inside of TLS.
    std::string Sent() const;

private:
    void Work();
    void Serve(int client);
    char Take();
    void Send(std::string_view bytes);
    bool StartTls(int client);
    std::string Receive();
    bool Wait(int descriptor) const;

    Script script_;
    int port_ = 0;
    int listener_ = -1;
    int wake_ = -1;  // readable: end
    mutable std::mutex mutex_;
    std::string sent_;
    int client_ = -1;
    std::unique_ptr<SSL, void (*)(SSL*)> tls_{nullptr, &SSL_free};
    std::thread worker_;
};

}  // namespace vantry::test
