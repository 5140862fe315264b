// Every text of every row passes here, most of it ASCII: so each function looks at eight bytes (or
// four UTF-16 units) at a time while they are ASCII, and decodes single characters only in between.
// Well-formed means Unicode's own table: no overlong forms, no surrogates, nothing above U+10FFFF;
// ill-formed bytes are passed over one by one. Output is made on the stack and appended in pieces.
// Easy to get wrong: the last bytes of a text, where eight don't fit any more.

#include "data/utf.h"

#include "data/text_scan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace vantry {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::uint64_t kHighBits = 0x8080808080808080;
// Four UTF-16 units at once: set where a unit isn't ASCII.
constexpr std::uint64_t kWideHighBits = 0xFF80FF80FF80FF80;
// Units converted in one go on the stack; a unit becomes at most three bytes.
constexpr std::size_t kChunk = 512;

// Through memcpy: texts stand at any address.
std::uint64_t Load8(const void* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

constexpr bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

// Length of the well-formed character at `position`, which isn't ASCII; 0 if it is ill-formed.
std::size_t WellFormedLength(std::string_view text, std::size_t position, char32_t& code_point) {
    const auto byte = [&](std::size_t offset) {
        return static_cast<unsigned char>(text[position + offset]);
    };
    const unsigned char lead = byte(0);
    const std::size_t left = text.size() - position;
    if (lead >= 0xC2 && lead <= 0xDF) {
        if (left < 2 || !IsContinuation(text[position + 1])) {
            return 0;
        }
        code_point = static_cast<char32_t>((lead & 0x1F) << 6 | (byte(1) & 0x3F));
        return 2;
    }
    if ((lead & 0xF0) == 0xE0) {
        if (left < 3 || !IsContinuation(text[position + 1]) ||
            !IsContinuation(text[position + 2])) {
            return 0;
        }
        code_point =
            static_cast<char32_t>((lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
        return code_point >= 0x800 && !IsSurrogate(code_point) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        if (left < 4 || !IsContinuation(text[position + 1]) ||
            !IsContinuation(text[position + 2]) || !IsContinuation(text[position + 3])) {
            return 0;
        }
        code_point = static_cast<char32_t>((lead & 0x07) << 18 | (byte(1) & 0x3F) << 12 |
                                           (byte(2) & 0x3F) << 6 | (byte(3) & 0x3F));
        return code_point >= 0x10000 && code_point <= 0x10FFFF ? 4 : 0;
    }
    return 0;
}

// Index of the first byte from `position` on that isn't ASCII, or the size.
std::size_t SkipAscii(std::string_view text, std::size_t position) {
    while (text.size() - position >= 8) {
        const std::uint64_t high = EightAt(text.data() + position) & kHighBits;
        if (high != 0) {
            return position + static_cast<std::size_t>(std::countr_zero(high)) / 8;
        }
        position += 8;
    }
    if (position < text.size() && text.size() >= 8) {
        // The last eight bytes, those before `position` shifted out.
        const std::size_t before = 8 - (text.size() - position);
        const std::uint64_t high =
            (EightAt(text.data() + text.size() - 8) & kHighBits) >> (8 * before);
        return high == 0 ? text.size()
                         : position + static_cast<std::size_t>(std::countr_zero(high)) / 8;
    }
    while (position < text.size() && static_cast<unsigned char>(text[position]) < 0x80) {
        ++position;
    }
    return position;
}

std::size_t Encode(char32_t code_point, char* out) {
    if (code_point < 0x80) {
        out[0] = static_cast<char>(code_point);
        return 1;
    }
    if (code_point < 0x800) {
        out[0] = static_cast<char>(0xC0 | (code_point >> 6));
        out[1] = static_cast<char>(0x80 | (code_point & 0x3F));
        return 2;
    }
    if (code_point > 0x10FFFF || IsSurrogate(code_point)) {
        code_point = kReplacement;
    }
    if (code_point < 0x10000) {
        out[0] = static_cast<char>(0xE0 | (code_point >> 12));
        out[1] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (code_point & 0x3F));
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (code_point >> 18));
    out[1] = static_cast<char>(0x80 | ((code_point >> 12) & 0x3F));
    out[2] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
    out[3] = static_cast<char>(0x80 | (code_point & 0x3F));
    return 4;
}

}  // namespace

// Four words are or-ed before the one test, since the answer is yes nearly always.
bool IsAscii(std::string_view text) {
    const char* at = text.data();
    std::size_t left = text.size();
    std::uint64_t seen = 0;
    for (; left >= 32; left -= 32, at += 32) {
        if (((Load8(at) | Load8(at + 8) | Load8(at + 16) | Load8(at + 24)) & kHighBits) != 0) {
            return false;
        }
    }
    for (; left >= 8; left -= 8, at += 8) {
        seen |= Load8(at);
    }
    for (; left > 0; --left, ++at) {
        seen |= static_cast<unsigned char>(*at);
    }
    return (seen & kHighBits) == 0;
}

// Of the row path: a text that passes is handed on without a copy.
bool IsValidUtf8(std::string_view text) {
    for (std::size_t at = SkipAscii(text, 0); at < text.size(); at = SkipAscii(text, at)) {
        char32_t code_point = 0;
        const std::size_t length = WellFormedLength(text, at, code_point);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

void AppendUtf8FromUtf16(std::u16string_view units, std::string& out) {
    std::array<char, 3 * kChunk + 8> chunk;
    std::size_t used = 0;
    for (std::size_t at = 0; at < units.size();) {
        if (used > 3 * kChunk) {
            out.append(chunk.data(), used);
            used = 0;
        }
        if (units.size() - at >= 4 && (Load8(units.data() + at) & kWideHighBits) == 0) {
            for (std::size_t i = 0; i < 4; ++i) {
                chunk[used + i] = static_cast<char>(units[at + i]);
            }
            at += 4;
            used += 4;
            continue;
        }
        char32_t code_point = units[at++];
        if (code_point >= 0xD800 && code_point < 0xDC00 && at < units.size() &&
            units[at] >= 0xDC00 && units[at] <= 0xDFFF) {
            code_point = 0x10000 + ((code_point - 0xD800) << 10) +
                         (static_cast<char32_t>(units[at++]) - 0xDC00);
        }
        used += Encode(code_point, chunk.data() + used);
    }
    out.append(chunk.data(), used);
}

void AppendUtf16FromUtf8(std::string_view text, std::u16string& out) {
    std::array<char16_t, kChunk + 8> chunk;
    std::size_t used = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (used > kChunk - 8) {
            out.append(chunk.data(), used);
            used = 0;
        }
        if (text.size() - at >= 8 && (Load8(text.data() + at) & kHighBits) == 0) {
            for (std::size_t i = 0; i < 8; ++i) {
                chunk[used + i] = static_cast<char16_t>(text[at + i]);
            }
            at += 8;
            used += 8;
            continue;
        }
        const char32_t code_point = NextCodePoint(text, at);
        if (code_point < 0x10000) {
            chunk[used++] = static_cast<char16_t>(code_point);
        } else {
            chunk[used++] = static_cast<char16_t>(0xD800 + ((code_point - 0x10000) >> 10));
            chunk[used++] = static_cast<char16_t>(0xDC00 + ((code_point - 0x10000) & 0x3FF));
        }
    }
    out.append(chunk.data(), used);
}

std::string Utf8FromUtf16(std::u16string_view units) {
    std::string out;
    out.reserve(units.size());
    AppendUtf8FromUtf16(units, out);
    return out;
}

std::u16string Utf16FromUtf8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    AppendUtf16FromUtf8(text, out);
    return out;
}

void AppendUtf8(char32_t code_point, std::string& out) {
    std::array<char, 4> bytes;
    out.append(bytes.data(), Encode(code_point, bytes.data()));
}

char32_t NextCodePoint(std::string_view text, std::size_t& position) {
    const auto first = static_cast<unsigned char>(text[position]);
    if (first < 0x80) {
        ++position;
        return first;
    }
    char32_t code_point = kReplacement;
    const std::size_t length = WellFormedLength(text, position, code_point);
    if (length == 0) {
        ++position;
        return kReplacement;
    }
    position += length;
    return code_point;
}

// Runs of ASCII are counted by their length.
std::size_t CountCodePoints(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size(); ++count) {
        const std::size_t ascii_end = SkipAscii(text, at);
        count += ascii_end - at;
        if (ascii_end == text.size()) {
            break;
        }
        at = ascii_end;
        NextCodePoint(text, at);
    }
    return count;
}

// Sizes of columns count these units, as the databases that the files come from do.
std::size_t CountUtf16Units(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t ascii_end = SkipAscii(text, at);
        count += ascii_end - at;
        at = ascii_end;
        if (at < text.size()) {
            count += NextCodePoint(text, at) < 0x10000 ? 1 : 2;
        }
    }
    return count;
}

// A character of two units that doesn't fit is left out, not halved.
std::string_view PrefixOfUtf16Units(std::string_view text, std::size_t units) {
    if (text.size() <= units) {
        return text;  // a unit never takes less than a byte
    }
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t next = at;
        const std::size_t width = NextCodePoint(text, next) < 0x10000 ? 1 : 2;
        if (width > units) {
            break;
        }
        units -= width;
        at = next;
    }
    return text.substr(0, at);
}

}  // namespace vantry
