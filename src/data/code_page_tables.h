#pragma once
// The two ways behind CodePage: tables for sets of one or two bytes a character, and the Unicode
// library's converter for the others.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

struct UConverter;

namespace vantry {

// One character of a set in UTF-8. All characters of these sets are in the basic plane.
struct DecodedCharacter {
    std::array<char, 3> bytes{};
    std::uint8_t length = 0;  // 0: the set has no such character
};
static_assert(sizeof(DecodedCharacter) == 4);

struct CodePageTables {
    static constexpr std::uint16_t kNone = 0xFFFF;
    using Encodings = std::array<std::uint16_t, 256>;

    std::array<DecodedCharacter, 256> single;  // length 0 also for a lead byte
    // Of a lead byte the index in `pairs`, from 1; 0 for all other bytes.
    std::array<std::uint8_t, 256> pairs_of{};
    std::vector<std::array<DecodedCharacter, 256>> pairs;  // by lead byte, by trail byte
    // Code points by their high byte, then by their low one: a byte, a pair with the lead byte
    // high, or kNone. Page 0 has nothing in it.
    std::array<std::uint8_t, 256> page_of{};
    std::vector<Encodings> pages;

    std::uint16_t BytesOf(char32_t code_point) const {
        return code_point < 0x10000 ? pages[page_of[code_point >> 8]][code_point & 0xFF] : kNone;
    }
};

// A converter of the Unicode library; it never puts one character in place of another.
class CodePageConverter {
public:
    // Throws DataError if the library knows no such code page.
    explicit CodePageConverter(int number);
    // Both append what could be converted and return how much of the input that is.
    std::size_t Decode(std::string_view bytes, std::string& out) const;
    std::size_t Encode(std::string_view utf8, std::string& out) const;
    UConverter* Handle() const { return handle_.get(); }

private:
    struct Closer {
        void operator()(UConverter* handle) const;
    };
    std::unique_ptr<UConverter, Closer> handle_;
    // Copies of an encoding share it, one of them on the thread that reads ahead.
    mutable std::mutex mutex_;
};

// The tables of a set, made at the first call; null if it has characters of other lengths. Throws
// DataError for an unknown number. May be called from any thread.
std::shared_ptr<const CodePageTables> TablesOfCodePage(int number);

}  // namespace vantry
