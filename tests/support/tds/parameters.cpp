// What clients send: each parameter brings its own description. Of the types that the protocol has
// for them these are FreeTDS's; any other one is an error, so that none is guessed.

#include "support/tds/types.h"

#include <array>
#include <span>
#include <stdexcept>

namespace vantry::test::tds {
namespace {

Value TextValue(std::string_view utf8) {
    return Value(Cell::Text(utf8));
}
Value BytesValue(std::string_view bytes) {
    return Value(Cell::Bytes(std::as_bytes(std::span(bytes.data(), bytes.size()))));
}

std::string TakePieces(Reader& in) {
    std::string bytes;
    while (const auto size = in.U32()) {
        bytes += in.Raw(size);
    }
    return bytes;
}

Value DecimalValue(std::string_view bytes, int scale) {
    Reader in(bytes);
    const bool positive = in.U8() != 0;
    UInt128 whole = 0;
    for (int k = 0; !in.AtEnd(); ++k) {
        whole |= static_cast<UInt128>(in.U8()) << (8 * k);
    }
    const auto number = static_cast<Int128>(whole);
    return Value(
        Cell::FromDecimal({positive ? number : -number, static_cast<std::uint8_t>(scale)}));
}

Value GuidValue(std::string_view bytes) {
    constexpr std::array kOrder = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const int at : kOrder) {
        const auto byte = static_cast<unsigned char>(bytes[static_cast<std::size_t>(at)]);
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23) {
            text += '-';
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return TextValue(text);
}

Value NumberValue(unsigned token, Reader& in, std::size_t size) {
    const auto bits = in.Number(size);
    if (token == kBitToken) {
        return Value(Cell::Boolean(bits != 0));
    }
    if (token == kFloatToken) {
        return Value(size == 4
                         ? Cell::Single(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                         : Cell::Double(std::bit_cast<double>(bits)));
    }
    const auto shift = 64 - 8 * size;
    return Value(Cell::Int64(size == 1 ? static_cast<std::int64_t>(bits)
                                       : static_cast<std::int64_t>(bits << shift) >> shift));
}

}  // namespace

Value TakeParameter(Reader& in) {
    Value null{Cell::Null()};
    switch (const unsigned token = in.U8()) {
        case kIntegerToken:
        case kBitToken:
        case kFloatToken: {
            in.U8();  // the longest that it may have
            const std::size_t size = in.U8();
            return size == 0 ? null : NumberValue(token, in, size);
        }
        case 0x6A:
        case 0x6C: {
            in.Raw(2);
            const int scale = in.U8();
            const std::size_t size = in.U8();
            return size == 0 ? null : DecimalValue(in.Raw(size), scale);
        }
        case 0x24: {
            in.U8();
            const std::size_t size = in.U8();
            return size == 0 ? null : GuidValue(in.Raw(size));
        }
        case 0x2A: {
            const int scale = in.U8();
            const std::size_t size = in.U8();
            if (size == 0) {
                return null;
            }
            const auto nanos = static_cast<std::int64_t>(in.Number(size - 3)) * NanosPerUnit(scale);
            const auto day = static_cast<std::int32_t>(in.Number(3)) + kMinDay;
            return Value(Cell::FromDateTime({day, nanos}));
        }
        case 0xE7:
        case 0xEF:
        case 0xA5:
        case 0xAD: {
            const bool in_pieces = in.U16() == kNoValue;
            const bool text = token >= 0xE7;
            if (text) {
                in.Raw(kCollation.size());
            }
            const auto size = in_pieces ? in.Number(8) : in.U16();
            if (size == (in_pieces ? kNoPieces : kNoValue)) {
                return null;
            }
            const auto bytes = in_pieces ? TakePieces(in) : std::string(in.Raw(size));
            return text ? TextValue(Reader::Utf8Of(bytes)) : BytesValue(bytes);
        }
        case 0x63: {
            in.U32();
            in.Raw(kCollation.size());
            return TextValue(Reader::Utf8Of(in.Raw(in.U32())));
        }
        default:
            throw std::runtime_error("a parameter of the unknown type " + std::to_string(token));
    }
}

}  // namespace vantry::test::tds
