#include "support/tds/messages.h"

#include "support/loopback.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <iterator>

namespace vantry::test::tds {
namespace {

constexpr std::size_t kHeader = 8;  // kind, status, length, session, number, window
constexpr char kLast = 1;

void PutToken(Writer& out, unsigned token, const Writer& body) {
    out.U8(token);
    out.U16(static_cast<unsigned>(body.bytes.size()));
    out.Raw(body.bytes);
}

void PutInfo(Writer& out, unsigned token, const ServerError& error) {
    Writer body;
    body.U32(static_cast<std::uint32_t>(error.number));
    body.U8(1);  // state
    body.U8(static_cast<unsigned>(error.severity));
    body.LongText(error.what());
    body.ShortText("TDSTEST");
    body.ShortText("");  // the procedure
    body.U32(1);         // the line in the statement
    PutToken(out, token, body);
}

}  // namespace

bool Channel::Speaks(std::chrono::milliseconds within) const {
    std::array<pollfd, 2> watched{{{socket_, POLLIN, 0}, {wake_, POLLIN, 0}}};
    return poll(watched.data(), watched.size(), static_cast<int>(within.count())) > 0;
}

bool Channel::Fill(std::string& bytes, std::size_t size) const {
    const auto start = bytes.size();
    bytes.resize(start + size);
    for (std::size_t got = 0; got < size;) {
        std::array<pollfd, 2> watched{{{socket_, POLLIN, 0}, {wake_, POLLIN, 0}}};
        poll(watched.data(), watched.size(), -1);
        const auto piece = watched[1].revents != 0
                               ? ssize_t{0}
                               : recv(socket_, bytes.data() + start + got, size - got, 0);
        if (piece <= 0) {
            return false;
        }
        got += static_cast<std::size_t>(piece);
    }
    return true;
}

Message Channel::Receive() const {
    Message message;
    for (bool last = false; !last;) {
        std::string header;
        if (!Fill(header, kHeader)) {
            return {};
        }
        const auto byte = [&](std::size_t k) {
            return static_cast<unsigned>(static_cast<unsigned char>(header[k]));
        };
        const std::size_t length = byte(2) << 8 | byte(3);
        message.kind = byte(0);
        last = (byte(1) & kLast) != 0;
        if (length < kHeader || !Fill(message.bytes, length - kHeader)) {
            return {};
        }
    }
    return message;
}

void Channel::Send(std::string_view answer, unsigned session) const {
    std::string packets;
    int number = 0;
    do {
        const auto piece = answer.substr(0, packet_bytes_ - kHeader);
        answer.remove_prefix(piece.size());
        const auto length = piece.size() + kHeader;
        packets += static_cast<char>(kAnswer);
        packets += answer.empty() ? kLast : '\0';
        packets += static_cast<char>(length >> 8);
        packets += static_cast<char>(length & 0xFF);
        packets += static_cast<char>(session >> 8);
        packets += static_cast<char>(session & 0xFF);
        packets += static_cast<char>(++number & 0xFF);
        packets += '\0';
        packets += piece;
    } while (!answer.empty());
    SendAll(socket_, packets);
}

void PutDone(Writer& out, Done kind, unsigned status, std::int64_t rows) {
    out.U8(static_cast<unsigned>(kind));
    out.U16(status);
    out.U16(0);  // which statement it was
    out.U64(static_cast<std::uint64_t>(rows));
}

void PutError(Writer& out, const ServerError& error) {
    PutInfo(out, 0xAA, error);
}

void PutRemark(Writer& out, int number, const std::string& text) {
    PutInfo(out, 0xAB, ServerError(number, text, 0));
}

void PutSetting(Writer& out, Setting setting, std::string_view now, std::string_view before) {
    Writer body;
    body.U8(static_cast<unsigned>(setting));
    if (setting == Setting::Collation) {
        body.U8(static_cast<unsigned>(now.size()));
        body.Raw(now);
        body.U8(0);
    } else {
        body.ShortText(now);
        body.ShortText(before);
    }
    PutToken(out, 0xE3, body);
}

void PutLoginDone(Writer& out) {
    Writer body;
    body.U8(1);                                     // the language is Transact-SQL
    body.Raw(std::string_view("\x74\0\0\x04", 4));  // version 7.4
    body.ShortText("Microsoft SQL Server");
    body.Raw(std::string_view("\x0E\0\x03\xE8", 4));  // version 14.0.1000
    PutToken(out, 0xAD, body);
}

void PutRows(Writer& out, const Result& result) {
    out.U8(0x81);
    out.U16(static_cast<unsigned>(result.columns.size()));
    for (const auto& column : result.columns) {
        PutType(column.type, out);
        out.ShortText(column.name);
    }
    for (const auto& row : result.rows) {
        out.U8(0xD1);
        for (std::size_t k = 0; k < row.size(); ++k) {
            PutValue(result.columns[k].type, row[k].AsCell(), out);
        }
    }
}

void PutStatus(Writer& out, int status) {
    out.U8(0x79);
    out.U32(static_cast<std::uint32_t>(status));
}

void PutHandle(Writer& out, std::int32_t handle) {
    out.U8(0xAC);
    out.U16(0);  // the first parameter
    out.ShortText("");
    out.U8(1);  // of the call's output
    out.U32(0);
    out.U16(0);
    out.U8(0x26);  // an integer of four bytes
    out.U8(4);
    out.U8(4);
    out.U32(static_cast<std::uint32_t>(handle));
}

}  // namespace vantry::test::tds
