// Each column has a decoder that knows what can be known before the first row. A value that makes
// no sense (a date in the year 20000, a cut number) is Unreadable with a reason, never another
// value and never an error that ends the scan. Easy to get wrong: the time of a date before
// 1899-12-30 counts forward, so -1.25 is six in the morning of the day before; and calculated
// columns wrap their value, whose type the descriptor needn't name.

#include "drivers/access/rows/field.h"

#include "data/data_error.h"
#include "data/value_text.h"

#include <charconv>

namespace vantry::access {
namespace {

constexpr std::size_t kKeptCapacity = std::size_t{4} << 20;

// Windows' DECIMAL without its first two bytes' meaning: u16 0, u8 scale, u8 sign, u32 high, low
// and middle word of the magnitude.
constexpr std::size_t kWideDecimalSize = 16;

std::optional<Decimal> DecimalFromWindows(ByteSpan stored) {
    const auto high = LoadU32(stored, 4);
    const auto low = LoadU32(stored, 8);
    const auto middle = LoadU32(stored, 12);
    const UInt128 magnitude =
        static_cast<UInt128>(high) << 64 | static_cast<UInt128>(middle) << 32 | low;
    Decimal value{static_cast<Int128>(magnitude), LoadU8(stored, 2)};
    if (value.scale > 28) {
        return std::nullopt;
    }
    if (LoadU8(stored, 3) != 0) {
        value.unscaled = -value.unscaled;
    }
    return value;
}

// Fixed-width decimal digits; nothing if one of them isn't.
std::optional<std::int64_t> Digits(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text[0] == '-') {
        return std::nullopt;
    }
    return value;
}

}  // namespace

// Four words, the most significant first, each little-endian: up to 38 digits fit a decimal of
// ours.
std::optional<Decimal> DecimalFromNumeric(ByteSpan stored, std::uint8_t scale) {
    constexpr UInt128 kTenTo19 = 10'000'000'000'000'000'000ULL;
    constexpr UInt128 kLimit = kTenTo19 * kTenTo19;
    UInt128 magnitude = 0;
    for (std::size_t word = 0; word < 4; ++word) {
        magnitude = magnitude << 32 | LoadU32(stored, 1 + word * 4);
    }
    if (magnitude >= kLimit || scale > 38) {
        return std::nullopt;
    }
    const bool negative = LoadU8(stored, 0) != 0;
    const auto unscaled = static_cast<Int128>(magnitude);
    return Decimal{negative ? -unscaled : unscaled, scale};
}

std::optional<DateTime> DateTimeFromExtended(ByteSpan stored) {
    // 19 digits of days since 0001-01-01, ':', 12 of seconds, 7 of 100 ns, ':', '7', 0.
    const std::string_view text(reinterpret_cast<const char*>(Slice(stored, 0, 42).data()), 42);
    if (text[19] != ':' || text[39] != ':') {
        return std::nullopt;
    }
    const auto days = Digits(text.substr(0, 19));
    const auto seconds = Digits(text.substr(20, 12));
    const auto ticks = Digits(text.substr(32, 7));
    if (!days || !seconds || !ticks || *days > kMaxDay - kMinDay || *seconds >= 86'400) {
        return std::nullopt;
    }
    return DateTime{static_cast<std::int32_t>(kMinDay + *days),
                    *seconds * kNanosPerSecond + *ticks * 100};
}

void PutGuid(ByteSpan stored, char* out) {
    constexpr char kHex[] = "0123456789ABCDEF";
    // The first three fields are little-endian numbers; a dash stands before these places.
    constexpr std::size_t kOrder[kGuidSize] = {
        3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    *out++ = '{';
    for (std::size_t i = 0; i < kGuidSize; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            *out++ = '-';
        }
        const auto byte = static_cast<unsigned>(stored[kOrder[i]]);
        *out++ = kHex[byte >> 4];
        *out++ = kHex[byte & 0xF];
    }
    *out++ = '}';
}

FieldDecoder::FieldDecoder(PageSource& source, const ColumnDef& column)
    : type_(column.IsCalculated() ? column.value_type : column.type),
      calculated_(column.IsCalculated()),
      scale_(column.scale),
      coding_(source.Header(), column.code_page) {
    if (column.IsLongValue()) {
        long_values_.emplace(source);
    }
}

Cell FieldDecoder::Faulty(std::string fault) {
    fault_ = std::move(fault);
    return Cell::Unreadable();
}

Cell FieldDecoder::Decode(ByteSpan stored) {
    try {
        if (calculated_) {
            return DecodeCalculated(stored);
        }
        return DecodeAs(type_, stored);
    } catch (const BoundsError&) {
        return Faulty("its " + std::to_string(stored.size()) + " bytes are too few");
    } catch (const DataError& error) {
        return Faulty(error.Description());
    }
}

Cell FieldDecoder::DecodeAs(ColumnType type, ByteSpan stored) {
    switch (type) {
        case ColumnType::Boolean:
            return Cell::Boolean(LoadU8(stored, 0) != 0);
        case ColumnType::Byte:
            return Cell::Int64(LoadU8(stored, 0));
        case ColumnType::Integer:
            return Cell::Int64(Load<std::int16_t>(stored, 0));
        case ColumnType::Long:
        case ColumnType::Complex:
            return Cell::Int64(Load<std::int32_t>(stored, 0));
        case ColumnType::BigInt:
            return Cell::Int64(Load<std::int64_t>(stored, 0));
        case ColumnType::Currency:
            return Cell::FromDecimal({Load<std::int64_t>(stored, 0), kCurrencyScale});
        case ColumnType::Single:
            return Cell::Single(Load<float>(stored, 0));
        case ColumnType::Double:
            return Cell::Double(Load<double>(stored, 0));
        case ColumnType::DateTime: {
            const auto serial = Load<double>(stored, 0);
            if (const auto value = DateTimeFromSerial(serial)) {
                return Cell::FromDateTime(*value);
            }
            std::string fault = "the date number ";
            AppendDouble(serial, fault);
            return Faulty(fault + " is outside the years 100 to 9999");
        }
        case ColumnType::DateTimeExtended:
            if (const auto value = DateTimeFromExtended(stored)) {
                return Cell::FromDateTime(*value);
            }
            return Faulty("it isn't an extended date");
        case ColumnType::Numeric:
            if (const auto value = DecimalFromNumeric(stored, scale_)) {
                return Cell::FromDecimal(*value);
            }
            return Faulty("the number has more than 38 digits");
        case ColumnType::Text:
            return Cell::Text(coding_.Decode(stored, scratch_));
        case ColumnType::Memo:
            return DecodeMemo(stored);
        case ColumnType::Ole:
            return Cell::Bytes(long_values_ ? long_values_->Read(stored) : stored);
        case ColumnType::Guid:
            return DecodeGuid(stored);
        case ColumnType::Binary:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            break;
    }
    return Cell::Bytes(stored);
}

// The memory of a huge text isn't kept for the short ones behind it.
Cell FieldDecoder::DecodeMemo(ByteSpan stored) {
    if (scratch_.capacity() > kKeptCapacity) {
        scratch_ = {};
    }
    return Cell::Text(coding_.Decode(long_values_ ? long_values_->Read(stored) : stored, scratch_));
}

Cell FieldDecoder::DecodeGuid(ByteSpan stored) {
    scratch_.resize(kGuidTextSize);
    PutGuid(Slice(stored, 0, kGuidSize), scratch_.data());
    return Cell::Text(scratch_);
}

// Sixteen bytes of nothing, a length, the result.
Cell FieldDecoder::DecodeCalculated(ByteSpan stored) {
    // A long result has the wrapper inside the long value.
    const auto wrapped = long_values_ ? long_values_->Read(stored) : stored;
    const auto length = LoadU32(wrapped, kCalculatedLengthOffset);
    const auto data = Slice(wrapped, kCalculatedDataOffset, length);
    if (data.empty() && FixedSizeOf(type_) != 0) {
        return Cell::Null();
    }
    switch (type_) {
        case ColumnType::Numeric: {
            if (data.size() == kNumericSize) {
                break;
            }
            const auto value = DecimalFromWindows(Slice(data, 0, kWideDecimalSize));
            return value ? Cell::FromDecimal(*value) : Faulty("it isn't a decimal number");
        }
        case ColumnType::Memo:
            return Cell::Text(coding_.Decode(data, scratch_));
        case ColumnType::Ole:
            return Cell::Bytes(data);
        default:
            break;
    }
    return DecodeAs(type_, data);
}

}  // namespace vantry::access
