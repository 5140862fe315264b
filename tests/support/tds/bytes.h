#pragma once
// Numbers and texts as the protocol has them: little-endian, texts in UTF-16 with their length in
// units before them.

#include "data/utf.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vantry::test::tds {

class Writer {
public:
    std::string bytes;

    template <std::integral Number>
    void Put(Number number, std::size_t size = sizeof(Number)) {
        for (std::size_t k = 0; k < size; ++k) {
            bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * k) & 0xFF);
        }
    }
    void U8(unsigned number) { Put(number, 1); }
    void U16(unsigned number) { Put(number, 2); }
    void U32(std::uint32_t number) { Put(number); }
    void U64(std::uint64_t number) { Put(number); }
    void Raw(std::string_view data) { bytes += data; }
    void Units(std::u16string_view units) {
        for (const char16_t unit : units) {
            U16(unit);
        }
    }
    // Texts with a length of one and of two bytes.
    void ShortText(std::string_view utf8) { Text(utf8, 1); }
    void LongText(std::string_view utf8) { Text(utf8, 2); }

private:
    void Text(std::string_view utf8, std::size_t length_bytes) {
        const auto units = Utf16FromUtf8(utf8);
        Put(units.size(), length_bytes);
        Units(units);
    }
};

// Throws std::runtime_error where the message ends too early.
class Reader {
public:
    explicit Reader(std::string_view bytes) : rest_(bytes) {}

    bool AtEnd() const { return rest_.empty(); }
    std::uint8_t Peek() const {
        return rest_.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(rest_.front());
    }
    std::string_view Raw(std::size_t size) {
        if (size > rest_.size()) {
            throw std::runtime_error("a message of the client ends too early");
        }
        const auto taken = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return taken;
    }
    std::uint64_t Number(std::size_t size) {
        std::uint64_t number = 0;
        const auto raw = Raw(size);
        for (std::size_t k = 0; k < size; ++k) {
            number |= std::uint64_t{static_cast<std::uint8_t>(raw[k])} << (8 * k);
        }
        return number;
    }
    std::uint8_t U8() { return static_cast<std::uint8_t>(Number(1)); }
    std::uint16_t U16() { return static_cast<std::uint16_t>(Number(2)); }
    std::uint32_t U32() { return static_cast<std::uint32_t>(Number(4)); }
    std::string Units(std::size_t count) { return Utf8Of(Raw(2 * count)); }
    std::string ShortText() { return Units(U8()); }

    static std::string Utf8Of(std::string_view utf16_bytes) {
        std::u16string units;
        for (std::size_t k = 0; k + 1 < utf16_bytes.size(); k += 2) {
            units += static_cast<char16_t>(
                static_cast<unsigned char>(utf16_bytes[k]) |
                static_cast<unsigned>(static_cast<unsigned char>(utf16_bytes[k + 1])) << 8);
        }
        return Utf8FromUtf16(units);
    }

private:
    std::string_view rest_;
};

}  // namespace vantry::test::tds
