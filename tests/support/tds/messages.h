#pragma once
// The protocol's messages: packets on a socket, and the tokens of an answer.
//
// Source of the facts: the published protocol document [MS-TDS], "Packets" (2.2.3) and "Packet Data
// Token Stream Definition" (2.2.7).

#include "support/tds/store.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::test::tds {

inline constexpr unsigned kBatch = 1;
inline constexpr unsigned kCall = 3;
inline constexpr unsigned kAnswer = 4;
inline constexpr unsigned kAttention = 6;
inline constexpr unsigned kLogin = 16;
inline constexpr unsigned kPrelogin = 18;

struct Message {
    unsigned kind = 0;  // 0: the client is gone, or the test has ended
    std::string bytes;
};

// One client's connection. `wake` becomes readable at the test's end.
class Channel {
public:
    Channel(int socket, int wake) : socket_(socket), wake_(wake) {}

    Message Receive() const;
    void Send(std::string_view answer, unsigned session) const;
    // Waits; true when the client says something meanwhile, or the test ends.
    bool Speaks(std::chrono::milliseconds within) const;
    void SetPacketSize(std::size_t bytes) { packet_bytes_ = bytes; }

private:
    bool Fill(std::string& bytes, std::size_t size) const;

    int socket_;
    int wake_;
    std::size_t packet_bytes_ = 4096;
};

// What an answer is made of.
enum class Done : unsigned { Statement = 0xFD, Call = 0xFE, InCall = 0xFF };
inline constexpr unsigned kMore = 0x01;
inline constexpr unsigned kFailed = 0x02;
inline constexpr unsigned kCounted = 0x10;
inline constexpr unsigned kCancelled = 0x20;

void PutDone(Writer& out, Done kind, unsigned status, std::int64_t rows = 0);
void PutError(Writer& out, const ServerError& error);
void PutRemark(Writer& out, int number, const std::string& text);
enum class Setting : unsigned { Database = 1, Language = 2, PacketSize = 4, Collation = 7 };
void PutSetting(Writer& out, Setting setting, std::string_view now, std::string_view before);
void PutLoginDone(Writer& out);
// The columns of a result and its rows.
void PutRows(Writer& out, const Result& result);
// Behind a call: its status, and the handle that it made.
void PutStatus(Writer& out, int status);
void PutHandle(Writer& out, std::int32_t handle);

}  // namespace vantry::test::tds
