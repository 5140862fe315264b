// What clients send: each parameter brings its own description. A client may send any type that
// the protocol has; those of which none is known are an error, so that none is guessed.

#include "data/code_page.h"
#include "support/tds/types.h"

#include <array>
#include <span>
#include <stdexcept>

namespace vantry::test::tds {
namespace {

std::string Utf8OfLatin1(std::string_view bytes) {
    static const CodePage page(1252);
    std::string text;
    page.AppendUtf8(bytes, text);
    return text;
}

vantry::DateTime TakeTime(Reader& in, std::size_t size, int scale) {
    return {kDay1900, static_cast<std::int64_t>(in.Number(size)) * NanosPerUnit(scale)};
}
std::int32_t TakeDay(Reader& in) {
    return static_cast<std::int32_t>(in.Number(3)) + kMinDay;
}

Value MomentValue(const vantry::DateTime& moment) {
    return Value(Cell::FromDateTime(moment));
}
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

Value FixedValue(unsigned token, Reader& in, std::size_t size) {
    switch (token) {
        case 0x68:
            return Value(Cell::Boolean(in.U8() != 0));
        case 0x6D:
            return Value(size == 4 ? Cell::Single(std::bit_cast<float>(in.U32()))
                                   : Cell::Double(std::bit_cast<double>(in.Number(8))));
        case 0x6E: {
            const auto high = size == 8 ? static_cast<std::int32_t>(in.U32()) : 0;
            const auto low = in.U32();
            const auto units = size == 8 ? (std::int64_t{high} << 32 | low)
                                         : std::int64_t{static_cast<std::int32_t>(low)};
            return Value(Cell::FromDecimal({units, 4}));
        }
        case 0x6F: {
            const auto day = static_cast<std::int32_t>(size == 8 ? in.U32() : in.U16());
            const auto units = static_cast<std::int64_t>(size == 8 ? in.U32() : in.U16());
            const auto nanos =
                size == 8 ? (units * 10'000'000 + 1) / 3 : units * 60 * kNanosPerSecond;
            return MomentValue({day + kDay1900, nanos});
        }
        default: {
            const auto bits = in.Number(size);
            const auto shift = 64 - 8 * size;
            return Value(Cell::Int64(size == 1
                                         ? static_cast<std::int64_t>(bits)
                                         : static_cast<std::int64_t>(bits << shift) >> shift));
        }
    }
}

}  // namespace

Parameter TakeParameter(Reader& in) {
    const unsigned token = in.U8();
    Value null{Cell::Null()};
    switch (token) {
        case 0x26:
        case 0x68:
        case 0x6D:
        case 0x6E:
        case 0x6F: {
            const auto longest = in.U8();
            const std::string name = token == 0x26   ? (longest == 8 ? "bigint" : "int")
                                     : token == 0x68 ? "bit"
                                     : token == 0x6D ? "float"
                                     : token == 0x6E ? "money"
                                                     : "datetime";
            const std::size_t size = in.U8();
            return {name, size == 0 ? null : FixedValue(token, in, size)};
        }
        case 0x6A:
        case 0x6C: {
            in.U8();
            in.U8();
            const int scale = in.U8();
            const std::size_t size = in.U8();
            return {"numeric", size == 0 ? null : DecimalValue(in.Raw(size), scale)};
        }
        case 0x24: {
            in.U8();
            const std::size_t size = in.U8();
            return {"uniqueidentifier", size == 0 ? null : GuidValue(in.Raw(size))};
        }
        case 0x28: {
            const auto size = in.U8();
            return {"date", size == 0 ? null : MomentValue({TakeDay(in), 0})};
        }
        case 0x29:
        case 0x2A:
        case 0x2B: {
            const int scale = in.U8();
            const std::size_t size = in.U8();
            if (size == 0) {
                return {"datetime2", null};
            }
            auto moment = TakeTime(in, size - (token == 0x29 ? 0 : token == 0x2A ? 3 : 5), scale);
            if (token == 0x29) {
                return {"time", MomentValue(moment)};
            }
            moment.day = TakeDay(in);
            if (token == 0x2B) {
                in.U16();
            }
            return {"datetime2", MomentValue(moment)};
        }
        case 0xA7:
        case 0xAF:
        case 0xE7:
        case 0xEF:
        case 0xA5:
        case 0xAD: {
            const bool in_pieces = in.U16() == kNoValue;
            const bool wide = token >= 0xE7;
            const bool text = wide || token == 0xA7 || token == 0xAF;
            const std::string name = wide ? "nvarchar" : text ? "varchar" : "varbinary";
            if (text) {
                in.Raw(kCollation.size());
            }
            const auto size = in_pieces ? in.Number(8) : in.U16();
            if (size == (in_pieces ? kNoPieces : kNoValue)) {
                return {name, null};
            }
            const auto bytes = in_pieces ? TakePieces(in) : std::string(in.Raw(size));
            return {name,
                    !text  ? BytesValue(bytes)
                    : wide ? TextValue(Reader::Utf8Of(bytes))
                           : TextValue(Utf8OfLatin1(bytes))};
        }
        case 0x22:
        case 0x23:
        case 0x63: {
            in.U32();
            if (token != 0x22) {
                in.Raw(kCollation.size());
            }
            const std::string name = token == 0x22 ? "image" : token == 0x23 ? "text" : "ntext";
            const auto size = in.U32();
            if (size == 0xFFFFFFFF) {
                return {name, null};
            }
            const auto bytes = in.Raw(size);
            return {name,
                    token == 0x22   ? BytesValue(bytes)
                    : token == 0x63 ? TextValue(Reader::Utf8Of(bytes))
                                    : TextValue(Utf8OfLatin1(bytes))};
        }
        default:
            throw std::runtime_error("a parameter of the unknown type " + std::to_string(token));
    }
}

}  // namespace vantry::test::tds
