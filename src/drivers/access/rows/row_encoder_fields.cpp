// A value in the stored form of its column's type: conversions as the engine makes them, and an
// error that names table, column and value where there is none. Texts try the compressed form
// first, eight characters at a time. Easy to get wrong: a text is measured in UTF-16 units; plain
// text that begins with the mark of compressed text would be taken for it; a money value must not
// pass through a double.

#include "data/ascii.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/rows/row_encoder.h"
#include "drivers/access/rows/stored_bytes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::size_t kMaxLongValue = kLongValueLengthMask;

constexpr Int128 PowerOfTen(int exponent) {
    Int128 power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

// Up to 8 bytes of a text whose last byte stands before `end`, the first of them lowest and zeros
// above; the text has 8 at least.
std::uint64_t WordAt(const char* at, const char* end) {
    std::uint64_t word;
    if (end - at >= 8) {
        std::memcpy(&word, at, sizeof word);
        return word;
    }
    std::memcpy(&word, end - 8, sizeof word);
    return word >> (8 * (8 - (end - at)));
}

// A character of two bytes up to U+00FF, which is a byte in the file; 0 for all others.
unsigned char NarrowPair(const char* at, const char* end) {
    const auto first = static_cast<unsigned char>(*at);
    if ((first != 0xC2 && first != 0xC3) || end - at < 2 ||
        (static_cast<unsigned char>(at[1]) & 0xC0) != 0x80) {
        return 0;
    }
    return static_cast<unsigned char>((first & 3) << 6 |
                                      (static_cast<unsigned char>(at[1]) & 0x3F));
}

// Writes the characters of `text` one byte each; nothing if one isn't in U+0001..U+00FF or there
// are more than `limit`. Writes up to 8 bytes too much.
std::byte* PutNarrow(std::string_view text, std::size_t limit, std::byte* out) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    constexpr std::uint64_t kLowBits = 0x0101010101010101;
    const char* at = text.data();
    const char* const end = at + text.size();
    const std::byte* const last = out + limit;
    const bool by_words = text.size() >= 8;
    while (at < end) {
        if (by_words) {
            const std::uint64_t word = WordAt(at, end);
            // The lowest one is the first that is above 0x7F or 0, also behind the text's end.
            const std::uint64_t special = (word | (word - kLowBits)) & kHighBits;
            const auto plain = std::min<std::ptrdiff_t>(std::countr_zero(special) / 8, end - at);
            std::memcpy(out, &word, sizeof word);
            at += plain;
            out += plain;
            if (out > last) {
                return nullptr;
            }
            if (at == end || special == 0) {
                continue;
            }
        }
        const auto byte = static_cast<unsigned char>(*at);
        const bool single = byte != 0 && byte < 0x80;
        const unsigned char narrow = single ? byte : NarrowPair(at, end);
        if (narrow == 0 || out == last) {
            return nullptr;
        }
        *out++ = std::byte{narrow};
        at += single ? 1 : 2;
    }
    return out;
}

// Null when the text can't be stored so: the engine compresses no shorter ones.
std::byte* PutCompressed(std::string_view text, std::size_t limit, std::byte* out) {
    if (text.size() < kMinCompressedUnits) {
        return nullptr;
    }
    std::byte* const start = out + 2;
    std::byte* const end = PutNarrow(text, limit, start);
    if (end == nullptr || end - start < static_cast<std::ptrdiff_t>(kMinCompressedUnits)) {
        return nullptr;
    }
    out[0] = std::byte{kCompressedMark0};
    out[1] = std::byte{kCompressedMark1};
    return end;
}

// A text that begins like the mark of compressed text is stored behind that mark, in the form that
// a zero byte switches between one byte a character and pairs. Some readers take every zero byte
// for a switch, also the upper half of a pair: so what fits a byte is stored as one. A unit whose
// low byte is 0 has no place in that form.
constexpr char16_t kMarkUnit = 0xFEFF;
bool NeedsEscape(std::u16string_view units) {
    return !units.empty() && units[0] == kMarkUnit;
}
bool CanEscape(std::u16string_view units) {
    return std::none_of(
        units.begin(), units.end(), [](char16_t unit) { return (unit & 0xFF) == 0; });
}
std::u16string Escaped(std::u16string_view units, std::size_t& bytes) {
    std::string stored{static_cast<char>(kCompressedMark0), static_cast<char>(kCompressedMark1)};
    bool pairs = false;
    for (const char16_t unit : units) {
        if (pairs != (unit > 0xFF)) {
            stored += '\0';
            pairs = !pairs;
        }
        stored += static_cast<char>(unit & 0xFF);
        if (pairs) {
            stored += static_cast<char>(unit >> 8);
        }
    }
    bytes = stored.size();
    std::u16string own((bytes + 1) / 2, u'\0');
    std::memcpy(own.data(), stored.data(), bytes);
    return own;
}

// "{8-4-4-4-12}", with or without the brackets: in the order of the digits.
// The digits of the text form; stored, the first three groups are turned round.
bool ParseGuid(std::string_view text, std::array<std::byte, kGuidSize>& out) {
    if (text.size() == 38 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, 36);
    }
    if (text.size() != 36) {
        return false;
    }
    std::size_t byte = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (at == 8 || at == 13 || at == 18 || at == 23) {
            if (text[at++] != '-') {
                return false;
            }
            continue;
        }
        const int high = HexValue(text[at]);
        const int low = HexValue(text[at + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        out[byte++] = static_cast<std::byte>(high << 4 | low);
        at += 2;
    }
    return true;
}

// A canonical number without a point, as a source of texts has most of its whole numbers.
std::optional<std::int64_t> ShortWholeNumber(const Cell& cell) {
    constexpr std::size_t kSurelyFits = 18;
    std::string_view digits = cell.AsText();
    const bool negative = digits.starts_with('-');
    digits.remove_prefix(negative ? 1 : 0);
    if (digits.empty() || digits.size() > kSurelyFits) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    for (const char digit : digits) {
        if (!IsDigit(digit)) {
            return std::nullopt;
        }
        value = 10 * value + (digit - '0');
    }
    return negative ? -value : value;
}

std::optional<std::int64_t> Rounded(const Cell& cell) {
    if (cell.Kind() == ValueKind::Int64) {
        return cell.AsInt64();
    }
    if (cell.Kind() == ValueKind::NumberText) {
        if (const auto value = ShortWholeNumber(cell)) {
            return value;
        }
    }
    return ToInt64Rounded(cell);
}

}  // namespace

void RowEncoder::ThrowUnfit(const Column& column, const Cell& cell) const {
    throw ValueDoesNotFit(NameOf(column), ToText(cell), TypeName(*column.def));
}

void RowEncoder::ThrowStoredTooLong(const Column& column) const {
    throw ValueDoesNotFit(NameOf(column), "as it is stored", TypeName(*column.def));
}

// Halves go to the even neighbour, as in the engine. Too large a number and no number at all are
// two errors, since only the first is cured by a wider column.
std::int64_t RowEncoder::WholeNumber(const Column& column,
                                     const Cell& cell,
                                     std::int64_t low,
                                     std::int64_t high) {
    const auto value = Rounded(cell);
    if (!value) {
        if (ToDouble(cell)) {
            throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
        }
        ThrowUnfit(column, cell);
    }
    if (*value < low || *value > high) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    return *value;
}

std::byte* RowEncoder::EncodeByte(const Column& column, const Cell& cell, std::byte* out) {
    return Put(out, static_cast<std::uint8_t>(WholeNumber(column, cell, 0, UINT8_MAX)));
}
std::byte* RowEncoder::EncodeInteger(const Column& column, const Cell& cell, std::byte* out) {
    return Put(out, static_cast<std::int16_t>(WholeNumber(column, cell, INT16_MIN, INT16_MAX)));
}
std::byte* RowEncoder::EncodeLong(const Column& column, const Cell& cell, std::byte* out) {
    return Put(out, static_cast<std::int32_t>(WholeNumber(column, cell, INT32_MIN, INT32_MAX)));
}
std::byte* RowEncoder::EncodeBigInt(const Column& column, const Cell& cell, std::byte* out) {
    return Put(out, WholeNumber(column, cell, INT64_MIN, INT64_MAX));
}

std::byte* RowEncoder::EncodeCurrency(const Column& column, const Cell& cell, std::byte* out) {
    const auto value = ToDecimal(cell, kCurrencyScale);
    if (!value) {
        if (ToDouble(cell)) {
            throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
        }
        ThrowUnfit(column, cell);
    }
    if (value->unscaled < INT64_MIN || value->unscaled > INT64_MAX) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    return Put(out, static_cast<std::int64_t>(value->unscaled));
}

std::byte* RowEncoder::EncodeSingle(const Column& column, const Cell& cell, std::byte* out) {
    if (cell.Kind() == ValueKind::Single && std::isfinite(cell.AsSingle())) {
        return Put(out, cell.AsSingle());
    }
    const auto value = ToDouble(cell);
    if (!value) {
        ThrowUnfit(column, cell);
    }
    const auto narrow = static_cast<float>(*value);
    if (!std::isfinite(narrow)) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    return Put(out, narrow);
}

std::byte* RowEncoder::EncodeDouble(const Column& column, const Cell& cell, std::byte* out) {
    const auto value =
        cell.Kind() == ValueKind::Double ? std::optional(cell.AsDouble()) : ToDouble(cell);
    if (!value) {
        ThrowUnfit(column, cell);
    }
    if (!std::isfinite(*value)) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    return Put(out, *value);
}

std::byte* RowEncoder::EncodeDate(const Column& column, const Cell& cell, std::byte* out) {
    const auto value =
        cell.Kind() == ValueKind::DateTime ? std::optional(cell.AsDateTime()) : ToDateTime(cell);
    if (!value) {
        ThrowUnfit(column, cell);
    }
    // A number of days can say milliseconds. What is finer is cut: rounded, the last instant of a
    // year would become the next. The time counts forward also before day 0, so it is the day that
    // has to be in the range.
    constexpr std::int64_t kNanosPerMilli = 1'000'000;
    constexpr std::int64_t kMillisPerDay = kNanosPerDay / kNanosPerMilli;
    const std::int64_t millis = value->nanos / kNanosPerMilli;
    const double part = static_cast<double>(millis) / static_cast<double>(kMillisPerDay);
    const double serial = value->day < 0 ? value->day - part : value->day + part;
    if (value->day < kMinSerialDate || value->day >= kEndSerialDate) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    return Put(out, serial);
}

// Decimal digits: days since year 1, seconds, units of 100 ns.
std::byte* RowEncoder::EncodeExtendedDate(const Column& column, const Cell& cell, std::byte* out) {
    const auto value = ToDateTime(cell);
    if (!value) {
        ThrowUnfit(column, cell);
    }
    constexpr std::int64_t kHundredNanos = 100;
    char text[kExtendedDateSize + 1];
    std::snprintf(text,
                  sizeof text,
                  "%019lld:%012lld%07lld:7",
                  static_cast<long long>(value->day) - kMinDay,
                  static_cast<long long>(value->nanos / kNanosPerSecond),
                  static_cast<long long>(value->nanos % kNanosPerSecond / kHundredNanos));
    std::memcpy(out, text, kExtendedDateSize);
    return out + kExtendedDateSize;
}

// Sign and four words of the magnitude, the most significant first.
std::byte* RowEncoder::EncodeNumeric(const Column& column, const Cell& cell, std::byte* out) {
    const auto value = ToDecimal(cell, column.def->scale);
    if (!value) {
        if (ToDouble(cell)) {
            throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
        }
        ThrowUnfit(column, cell);
    }
    const bool negative = value->unscaled < 0;
    const auto magnitude = static_cast<UInt128>(negative ? -value->unscaled : value->unscaled);
    const int precision = column.def->precision == 0 ? kMaxNumericPrecision : column.def->precision;
    if (magnitude >= static_cast<UInt128>(PowerOfTen(std::min(precision, kMaxNumericPrecision)))) {
        throw ValueOutOfRange(NameOf(column), ToText(cell), TypeName(*column.def));
    }
    *out++ = std::byte{negative ? kNumericNegative : std::uint8_t{0}};
    for (int word = 3; word >= 0; --word) {
        out = Put(out, static_cast<std::uint32_t>(magnitude >> (32 * word)));
    }
    return out;
}

std::byte* RowEncoder::EncodeGuid(const Column& column, const Cell& cell, std::byte* out) {
    if (cell.Kind() == ValueKind::Bytes && cell.AsBytes().size() == kGuidSize) {
        std::memcpy(out, cell.AsBytes().data(), kGuidSize);
        return out + kGuidSize;
    }
    std::array<std::byte, kGuidSize> bytes;
    if (!ParseGuid(TextOf(cell), bytes)) {
        ThrowUnfit(column, cell);
    }
    // The first three groups are numbers.
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.begin() + 6);
    std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    std::memcpy(out, bytes.data(), kGuidSize);
    return out + kGuidSize;
}

std::string_view RowEncoder::TextOf(const Cell& cell) {
    switch (cell.Kind()) {
        case ValueKind::Text:
        case ValueKind::NumberText:
            return cell.AsText();
        case ValueKind::Bytes:
            return {reinterpret_cast<const char*>(cell.AsBytes().data()), cell.AsBytes().size()};
        default:
            scratch_.clear();
            AppendText(cell, scratch_);
            return scratch_;
    }
}

ByteSpan RowEncoder::BytesOf(const Cell& cell) {
    if (cell.Kind() == ValueKind::Bytes) {
        return cell.AsBytes();
    }
    const std::string_view text = TextOf(cell);
    return std::as_bytes(std::span(text.data(), text.size()));
}

std::byte* RowEncoder::EncodeText(const Column& column, const Cell& cell, std::byte* out) {
    const std::string_view text = TextOf(cell);
    const std::size_t limit = column.def->length / 2U;
    if ((column.def->extended_flags & kColumnCompressed) != 0) {
        if (std::byte* const end = PutCompressed(text, limit, out); end != nullptr) {
            return end;
        }
    }
    units_.clear();
    AppendUtf16FromUtf8(text, units_);
    if (units_.size() > limit) {
        throw TextTooLong(NameOf(column), units_.size(), limit);
    }
    if (NeedsEscape(units_)) {
        std::size_t length = 0;
        const std::u16string own = Escaped(units_, length);
        if (!CanEscape(units_) || length > column.def->length + kFieldSlack) {
            ThrowUnfit(column, cell);
        }
        std::memcpy(out, own.data(), length);
        return out + length;
    }
    std::memcpy(out, units_.data(), 2 * units_.size());
    return out + 2 * units_.size();
}

// Filled up with blanks; fixed texts are never compressed.
std::byte* RowEncoder::EncodeFixedText(const Column& column, const Cell& cell, std::byte* out) {
    const std::size_t limit = column.def->length / 2U;
    units_.clear();
    AppendUtf16FromUtf8(TextOf(cell), units_);
    if (units_.size() > limit) {
        throw TextTooLong(NameOf(column), units_.size(), limit);
    }
    if (NeedsEscape(units_)) {
        ThrowUnfit(column, cell);
    }
    units_.resize(limit, u' ');
    std::memcpy(out, units_.data(), 2 * limit);
    return out + 2 * limit;
}

std::byte* RowEncoder::EncodeBinary(const Column& column, const Cell& cell, std::byte* out) {
    const ByteSpan bytes = BytesOf(cell);
    const std::size_t limit = column.def->length;
    if (bytes.size() > limit) {
        throw TextTooLong(NameOf(column), bytes.size(), limit);
    }
    if (!bytes.empty()) {
        std::memcpy(out, bytes.data(), bytes.size());
    }
    if (column.def->IsFixed()) {
        std::memset(out + bytes.size(), 0, limit - bytes.size());
        return out + limit;
    }
    return out + bytes.size();
}

std::byte* RowEncoder::PutLongValue(const Column& column,
                                    ByteSpan data,
                                    std::u16string&& own,
                                    std::byte* out) {
    if (data.size() > kMaxLongValue) {
        throw TextTooLong(NameOf(column), data.size(), kMaxLongValue);
    }
    if (data.size() <= kMaxInlineLongValue) {
        Put(out, static_cast<std::uint32_t>(data.size()) | kLongValueInline);
        std::memset(out + 4, 0, kLongValueHeaderSize - 4);
        if (!data.empty()) {
            std::memcpy(out + kLongValueHeaderSize, data.data(), data.size());
        }
        return out + kLongValueHeaderSize + data.size();
    }
    std::memset(out, 0, kLongValueHeaderSize);
    // Moving a string of this length moves no character, so the view stays good.
    pending_.push_back({.column = column.position,
                        .header = static_cast<std::size_t>(out - buffer_.data()),
                        .data = data,
                        .own = std::move(own)});
    return out + kLongValueHeaderSize;
}

std::byte* RowEncoder::EncodeMemo(const Column& column, const Cell& cell, std::byte* out) {
    const std::string_view text = TextOf(cell);
    constexpr std::size_t kMostBytes = 2 * kMaxCompressedUnits;  // of UTF-8
    if ((column.def->extended_flags & kColumnCompressed) != 0 && text.size() <= kMostBytes) {
        std::array<std::byte, 2 + kMaxCompressedUnits + kFieldSlack> narrow;
        const std::byte* const end = PutCompressed(text, kMaxCompressedUnits, narrow.data());
        if (end != nullptr) {
            const auto length = static_cast<std::size_t>(end - narrow.data());
            std::u16string own;
            if (length <= kMaxInlineLongValue) {
                return PutLongValue(column, {narrow.data(), length}, {}, out);
            }
            own.resize((length + 1) / 2);
            std::memcpy(own.data(), narrow.data(), length);
            const ByteSpan data(reinterpret_cast<const std::byte*>(own.data()), length);
            return PutLongValue(column, data, std::move(own), out);
        }
    }
    std::u16string units;
    AppendUtf16FromUtf8(text, units);
    if (NeedsEscape(units)) {
        if (!CanEscape(units)) {
            ThrowUnfit(column, cell);
        }
        std::size_t length = 0;
        std::u16string own = Escaped(units, length);
        const auto* const bytes = reinterpret_cast<const std::byte*>(own.data());
        return PutLongValue(column, {bytes, length}, std::move(own), out);
    }
    const ByteSpan data(reinterpret_cast<const std::byte*>(units.data()), 2 * units.size());
    return PutLongValue(column, data, std::move(units), out);
}

std::byte* RowEncoder::EncodeOle(const Column& column, const Cell& cell, std::byte* out) {
    if (cell.Kind() == ValueKind::Bytes) {
        return PutLongValue(column, cell.AsBytes(), {}, out);
    }
    const std::string_view text = TextOf(cell);
    std::u16string own((text.size() + 1) / 2, u'\0');
    if (!text.empty()) {
        std::memcpy(own.data(), text.data(), text.size());
    }
    const ByteSpan data(reinterpret_cast<const std::byte*>(own.data()), text.size());
    return PutLongValue(column, data, std::move(own), out);
}

}  // namespace vantry::access
