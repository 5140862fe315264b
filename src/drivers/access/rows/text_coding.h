#pragma once
// Text as it is stored: UTF-16LE, compressed text, or the bytes of a code page (Jet 3).

#include "data/code_page.h"
#include "data/utf.h"
#include "drivers/access/bytes.h"
#include "drivers/access/pages/file_header.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::access {

class TextCoding {
public:
    explicit TextCoding(const FileHeader& header);
    // Jet 3 columns name a code page of their own; 0: the file's.
    TextCoding(const FileHeader& header, int code_page);

    // A name in a table definition or property block: never compressed.
    std::string Name(ByteSpan stored) const;

    // The value as UTF-8: a view of `stored` itself where that is what it holds, otherwise of
    // `scratch`, whose contents are replaced and whose size means nothing.
    std::string_view Decode(ByteSpan stored, std::string& scratch) const {
        if (!jet3_ && IsCompressed(stored)) {
            const std::string_view text(reinterpret_cast<const char*>(stored.data()) + 2,
                                        stored.size() - 2);
            if (IsPlainAscii(text)) {
                return text;
            }
        }
        return DecodeSlowly(stored, scratch);
    }
    // The same as UTF-16 units: what index keys are made of.
    std::u16string Units(ByteSpan stored) const;

    static bool IsCompressed(ByteSpan stored) {
        return stored.size() >= 2 && stored[0] == std::byte{0xFF} && stored[1] == std::byte{0xFE};
    }

    // Only bytes 01 to 7F, which stand for themselves in compressed text and in UTF-8.
    static bool IsPlainAscii(std::string_view text) {
        // A zero byte or one above 7F: in eight bytes at a time both show in the top bit of
        // (x - 01..01) | x, bar a borrow that only ever adds a false alarm.
        constexpr std::uint64_t kOnes = 0x0101010101010101;
        constexpr std::uint64_t kTops = 0x8080808080808080;
        constexpr std::size_t kWord = sizeof kOnes;
        const auto odd_at = [&](std::size_t at) {
            std::uint64_t word = 0;
            std::memcpy(&word, text.data() + at, kWord);
            return (word - kOnes) | word;
        };
        if (text.size() < kWord) {
            return std::all_of(text.begin(), text.end(), [](char c) {
                return static_cast<unsigned char>(c - 1) < 0x7F;
            });
        }
        std::uint64_t odd = odd_at(text.size() - kWord);  // overlaps the one before
        for (std::size_t i = 0; i + kWord < text.size(); i += kWord) {
            odd |= odd_at(i);
        }
        return (odd & kTops) == 0;
    }

    // Jet 4 text as UTF-8 into `room`, which has RoomFor() bytes. Returns the end; null for text
    // that isn't simple, with surrogates or both forms in one value. What lies behind the end may
    // have been written to.
    static char* PutSimple(ByteSpan stored, char* room);
    static std::size_t RoomFor(ByteSpan stored) { return stored.size() * 2 + 16; }

private:
    std::string_view DecodeSlowly(ByteSpan stored, std::string& scratch) const;

    bool jet3_;
    std::shared_ptr<const CodePage> code_page_;  // Jet 3
};

// Compressed text to UTF-16 units: a 0 byte switches between bytes and pairs of bytes.
void AppendDecompressed(ByteSpan behind_mark, std::u16string& out);

}  // namespace vantry::access
