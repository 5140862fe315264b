#include "data/message_text.h"

namespace vantry {

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string Shown(std::string_view value) {
    constexpr std::size_t kMaxBytes = 60;
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
