// What others wrote goes into messages: names of files, values, words of servers. They end up in
// logs, terminals and boxes, where control characters would steer, and marks of direction turn a
// line round.

#include "data/message_text.h"

#include "data/utf.h"

namespace vantry {

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string WithoutControls(std::string_view text) {
    const auto steers = [](char32_t c) {
        return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x200E || c == 0x200F ||
               (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    };
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const bool line_end = text[position] == '\n' || text.substr(position, 2) == "\r\n";
        const bool stays = line_end || text[position] == '\t';
        const char32_t c = NextCodePoint(text, position);
        AppendUtf8(steers(c) && !stays ? U'?' : c, clean);
    }
    return clean;
}

std::string OnOneLine(std::string_view text) {
    std::string line;
    for (const char c : WithoutControls(text)) {
        if (c == '\n') {
            line += ' ';
        } else if (c != '\r') {
            line += c;
        }
    }
    return line;
}

std::string Shown(std::string_view value) {
    constexpr std::size_t kMaxBytes = 60;
    // Bytes that are no UTF-8 may never begin a character: there is an end all the same.
    constexpr std::size_t kMaxBytesInNoUtf8 = kMaxBytes + 8;
    std::string shown;
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        const bool begins_character = (byte & 0xC0U) != 0x80U;
        if (shown.size() >= (begins_character ? kMaxBytes : kMaxBytesInNoUtf8)) {
            return shown + "...";
        }
        shown += byte < 0x20 || byte == 0x7F ? ' ' : c;
    }
    return shown;
}

}  // namespace vantry
