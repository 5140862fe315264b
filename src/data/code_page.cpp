// The road of every text field that isn't UTF-8: eight ASCII bytes at a time are copied, anything
// else is one look into a table. Both directions work in a piece of the stack and append that, as
// appending single characters to a string takes several times as long.
//
// Encode() and Decode() are strict and say how far they came; the forgiving forms put a mark there
// and go on. A set of two bytes is easily read out of step: after a pair that means nothing, the
// second byte is passed over too, unless it is ASCII, which may be a delimiter.

#include "data/code_page.h"

#include "data/code_page_tables.h"
#include "data/text_scan.h"
#include "data/utf.h"
#include "data/vietnamese.h"

#include <array>
#include <cstring>

namespace vantry {
namespace {

constexpr int kUtf8CodePage = 65001;
constexpr int kVietnamese = 1258;
// Bytes converted in one go on the stack.
constexpr std::size_t kChunk = 512;

bool EightAscii(std::string_view text, std::size_t at) {
    return text.size() - at >= 8 && (EightAt(text.data() + at) & 0x8080808080808080) == 0;
}

// The character of the pair that begins at `at`; null if there is none.
const DecodedCharacter* PairAt(const CodePageTables& tables,
                               std::string_view bytes,
                               std::size_t at) {
    const std::uint8_t index = tables.pairs_of[static_cast<unsigned char>(bytes[at])];
    if (index == 0 || at + 1 == bytes.size()) {
        return nullptr;
    }
    const auto* const pair = &tables.pairs[index - 1U][static_cast<unsigned char>(bytes[at + 1])];
    return pair->length == 0 ? nullptr : pair;
}

std::size_t DecodeByTables(const CodePageTables& tables, std::string_view bytes, std::string& out) {
    std::array<char, 3 * kChunk + 1> chunk;  // one more: four bytes are copied for each character
    std::size_t at = 0;
    while (at < bytes.size()) {
        // A pair may reach one byte behind the piece.
        const std::string_view piece = bytes.substr(0, at + kChunk);
        char* to = chunk.data();
        while (at < piece.size()) {
            if (EightAscii(piece, at)) {
                std::memcpy(to, piece.data() + at, 8);
                at += 8;
                to += 8;
                continue;
            }
            const auto* character = &tables.single[static_cast<unsigned char>(piece[at])];
            if (character->length == 0) [[unlikely]] {
                character = PairAt(tables, bytes, at);
                if (character == nullptr) {
                    out.append(chunk.data(), to);
                    return at;
                }
                ++at;
            }
            std::memcpy(to, character, sizeof *character);  // the length goes where the next begins
            to += character->length;
            ++at;
        }
        out.append(chunk.data(), to);
    }
    return at;
}

std::size_t EncodeByTables(const CodePageTables& tables, std::string_view utf8, std::string& out) {
    std::array<char, kChunk> chunk;
    std::size_t used = 0;
    std::size_t at = 0;
    while (at < utf8.size()) {
        if (used + 8 > chunk.size()) {
            out.append(chunk.data(), used);
            used = 0;
        }
        if (EightAscii(utf8, at)) {
            std::memcpy(chunk.data() + used, utf8.data() + at, 8);
            at += 8;
            used += 8;
            continue;
        }
        if (static_cast<unsigned char>(utf8[at]) < 0x80) {
            chunk[used++] = utf8[at++];
            continue;
        }
        std::size_t next = at;
        // Ill-formed UTF-8 comes as U+FFFD, which no such set has.
        const std::uint16_t bytes = tables.BytesOf(NextCodePoint(utf8, next));
        if (bytes == CodePageTables::kNone) {
            break;
        }
        if (bytes > 0xFF) {
            chunk[used++] = static_cast<char>(bytes >> 8);
        }
        chunk[used++] = static_cast<char>(bytes & 0xFF);
        at = next;
    }
    out.append(chunk.data(), used);
    return at;
}

// How much of the well-formed beginning of `text` there is.
std::size_t CopyUtf8(std::string_view text, std::string& out) {
    std::size_t at = IsValidUtf8(text) ? text.size() : 0;
    while (at < text.size()) {
        std::size_t next = at;
        const char32_t code_point = NextCodePoint(text, next);
        if (code_point == 0xFFFD && next - at == 1) {
            break;
        }
        at = next;
    }
    out.append(text.substr(0, at));
    return at;
}

}  // namespace

CodePage::CodePage(int number) : number_(number) {
    if (number == kUtf8CodePage) {
        return;
    }
    tables_ = TablesOfCodePage(number);
    if (!tables_) {
        converter_ = std::make_unique<CodePageConverter>(number);
    }
}

CodePage::~CodePage() = default;
CodePage::CodePage(CodePage&&) noexcept = default;
CodePage& CodePage::operator=(CodePage&&) noexcept = default;

std::size_t CodePage::Decode(std::string_view bytes, std::string& out) const {
    return tables_      ? DecodeByTables(*tables_, bytes, out)
           : converter_ ? converter_->Decode(bytes, out)
                        : CopyUtf8(bytes, out);
}

std::size_t CodePage::Encode(std::string_view utf8, std::string& out) const {
    return tables_      ? EncodeByTables(*tables_, utf8, out)
           : converter_ ? converter_->Encode(utf8, out)
                        : CopyUtf8(utf8, out);
}

std::optional<std::size_t> CodePage::AppendUtf8Strictly(std::string_view bytes,
                                                        std::string& out) const {
    if (!converter_ && IsAscii(bytes)) {
        out.append(bytes);
        return std::nullopt;
    }
    const std::size_t begin = out.size();
    const std::size_t done = Decode(bytes, out);
    if (number_ == kVietnamese) {
        ComposeVietnamese(out, begin);
    }
    return done < bytes.size() ? std::optional(done) : std::nullopt;
}

void CodePage::AppendUtf8(std::string_view bytes, std::string& out) const {
    while (const auto bad = AppendUtf8Strictly(bytes, out)) {
        vantry::AppendUtf8(U'\uFFFD', out);
        std::size_t skipped = 1;
        if (tables_ && tables_->pairs_of[static_cast<unsigned char>(bytes[*bad])] != 0 &&
            *bad + 1 < bytes.size() && static_cast<unsigned char>(bytes[*bad + 1]) >= 0x80) {
            skipped = 2;
        }
        bytes.remove_prefix(*bad + skipped);
    }
}

std::optional<std::size_t> CodePage::AppendBytesStrictly(std::string_view utf8,
                                                         std::string& out) const {
    if (!converter_ && IsAscii(utf8)) {
        out.append(utf8);
        return std::nullopt;
    }
    std::size_t at = Encode(utf8, out);
    while (at < utf8.size() && number_ == kVietnamese) {
        std::size_t next = at;
        const std::string parts = VietnameseParts(NextCodePoint(utf8, next));
        if (parts.empty() || Encode(parts, out) < parts.size()) {
            break;
        }
        at = next + Encode(utf8.substr(next), out);
    }
    return at < utf8.size() ? std::optional(at) : std::nullopt;
}

bool CodePage::AppendBytes(std::string_view utf8, std::string& out) const {
    bool whole = true;
    while (const auto bad = AppendBytesStrictly(utf8, out)) {
        whole = false;
        // In UTF-16 the mark has two bytes.
        if (converter_) {
            converter_->Encode("?", out);
        } else {
            out += '?';
        }
        std::size_t next = *bad;
        NextCodePoint(utf8, next);
        utf8.remove_prefix(next);
    }
    return whole;
}

}  // namespace vantry
