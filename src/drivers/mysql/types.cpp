// From a column as the server describes it to the type that sessions know it by, and from the bytes
// of a field to a cell. Most fields are passed on as the text that the server wrote, once it is
// sure that this is the text form of the value. Easy to get wrong: sizes come in bytes of the
// connection's character set, a bit column's value is its bits, dates of zeros exist, and whatever
// a false server sends as a number must never reach another server's statement as one.

#include "drivers/mysql/types.h"

#include "data/ascii.h"
#include "data/text_scan.h"
#include "data/value_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <span>

namespace vantry::mysql {
namespace {

constexpr unsigned kBinaryCharset = 63;  // the collation number of bytes that are no text
constexpr auto kJsonType = static_cast<enum_field_types>(245);  // MySQL's own; MariaDB sends text
constexpr std::int64_t kMaxLongText = 1'073'741'823;            // characters
constexpr std::int64_t kMaxLongBinary = 2'147'483'647;          // bytes
constexpr std::size_t kMaxDecimalDigits = 38;
constexpr std::size_t kSafeIntegerText = 15;  // characters that are a canonical number for sure

// All but the name.
struct Shape {
    Form form;
    int type;
    std::int64_t size;
    int precision = kDoesNotApply;
    int scale = kDoesNotApply;
};

Shape IntegerShape(const MYSQL_FIELD& field, int type, int unsigned_type, int size, int precision) {
    const bool is_unsigned = (field.flags & UNSIGNED_FLAG) != 0;
    const bool padded = (field.flags & ZEROFILL_FLAG) != 0;
    return {padded ? Form::PaddedInteger : Form::Integer,
            is_unsigned ? unsigned_type : type,
            size,
            precision};
}

Shape DecimalShape(const MYSQL_FIELD& field) {
    // The length counts the point and, where there can be one, the sign.
    const auto decimals = static_cast<int>(field.decimals);
    const int extra = (decimals > 0 ? 1 : 0) + ((field.flags & UNSIGNED_FLAG) != 0 ? 0 : 1);
    const bool padded = (field.flags & ZEROFILL_FLAG) != 0;
    return {padded ? Form::PaddedDecimal : Form::Decimal,
            adNumeric,
            19,
            static_cast<int>(field.length) - extra,
            decimals};
}

Shape BitShape(const MYSQL_FIELD& field) {
    if (field.length == 1) {
        return {Form::Flag, adBoolean, 2};
    }
    // Bytes, as the size of a binary column is; the server gives bits.
    return {Form::Bytes, adBinary, (static_cast<std::int64_t>(field.length) + 7) / 8};
}

Shape TextOrBytesShape(const MYSQL_FIELD& field,
                       unsigned bytes_per_character,
                       int text,
                       int binary) {
    const auto length = static_cast<std::int64_t>(field.length);
    if (field.charsetnr == kBinaryCharset) {
        return {Form::Bytes, binary, std::min(length, kMaxLongBinary)};
    }
    return {Form::Text, text, std::min(length / bytes_per_character, kMaxLongText)};
}

Shape ShapeOf(const MYSQL_FIELD& field, unsigned bytes_per_character) {
    switch (field.type) {
        case MYSQL_TYPE_BIT:
            return BitShape(field);
        case MYSQL_TYPE_TINY:
            return IntegerShape(field, adTinyInt, adUnsignedTinyInt, 1, 3);
        case MYSQL_TYPE_SHORT:
            return IntegerShape(field, adSmallInt, adUnsignedSmallInt, 2, 5);
        // Four digits, as with zero fill: "0000" is a value of it.
        case MYSQL_TYPE_YEAR:
            return {Form::PaddedInteger, adSmallInt, 2, 5};
        case MYSQL_TYPE_INT24:
        case MYSQL_TYPE_LONG:
            return IntegerShape(field, adInteger, adUnsignedInt, 4, 10);
        case MYSQL_TYPE_LONGLONG: {
            const bool is_unsigned = (field.flags & UNSIGNED_FLAG) != 0;
            return IntegerShape(field, adBigInt, adUnsignedBigInt, 8, is_unsigned ? 20 : 19);
        }
        case MYSQL_TYPE_DECIMAL:
        case MYSQL_TYPE_NEWDECIMAL:
            return DecimalShape(field);
        case MYSQL_TYPE_FLOAT:
            return {Form::Single, adSingle, 4, 7};
        case MYSQL_TYPE_DOUBLE:
            return {Form::Double, adDouble, 8, 15};
        case MYSQL_TYPE_DATE:
        case MYSQL_TYPE_NEWDATE:
            return {Form::DateTime, adDBDate, 6, 10, 0};
        case MYSQL_TYPE_TIME:
        case MYSQL_TYPE_TIME2:
            return {Form::Time, adDBTime, 6, 8, 0};
        case MYSQL_TYPE_DATETIME:
        case MYSQL_TYPE_DATETIME2:
        case MYSQL_TYPE_TIMESTAMP:
        case MYSQL_TYPE_TIMESTAMP2:
            return {Form::DateTime,
                    adDBTimeStamp,
                    16,
                    static_cast<int>(field.length),
                    static_cast<int>(field.decimals)};
        case kJsonType:
            return {Form::Text, adLongVarWChar, kMaxLongText};
        case MYSQL_TYPE_GEOMETRY:
            return {Form::Bytes, adLongVarBinary, kMaxLongBinary};
        case MYSQL_TYPE_TINY_BLOB:
        case MYSQL_TYPE_MEDIUM_BLOB:
        case MYSQL_TYPE_LONG_BLOB:
        case MYSQL_TYPE_BLOB:
            return TextOrBytesShape(field, bytes_per_character, adLongVarWChar, adLongVarBinary);
        case MYSQL_TYPE_STRING:
        case MYSQL_TYPE_ENUM:
        case MYSQL_TYPE_SET:
            return TextOrBytesShape(field, bytes_per_character, adWChar, adBinary);
        // The column of a bare NULL in a SELECT.
        case MYSQL_TYPE_NULL:
            return {Form::Text, adVarWChar, 0};
        default:
            return TextOrBytesShape(field, bytes_per_character, adVarWChar, adVarBinary);
    }
}

template <typename Number>
std::optional<Number> WholeNumber(std::string_view text) {
    Number number = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// What stands in a number's place is the server's to say: only a number may pass for one, since it
// goes into statements as it is.
bool IsPlainNumber(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    at += at != end && *at == '-' ? 1 : 0;
    const char* const first = at;
    int points = 0;
    for (; at != end; ++at) {
        if (static_cast<unsigned>(*at - '0') > 9) {
            if (*at != '.' || at == first || at + 1 == end || ++points > 1) {
                return false;
            }
        }
    }
    return at != first;
}

Cell IntegerCell(std::string_view text) {
    if (const auto number = WholeNumber<std::int64_t>(text)) {
        return Cell::Int64(*number);
    }
    const auto number = WholeNumber<std::uint64_t>(text);
    return number ? Cell::UInt64(*number) : Cell::Text(text);
}

// The server writes a decimal with all digits of its scale and one zero at least before the point:
// just the text form of a decimal value.
Cell DecimalCell(std::string_view text) {
    if (!IsPlainNumber(text)) {
        return Cell::Text(text);
    }
    if (text.size() > kMaxDecimalDigits) {
        const auto digits = std::count_if(text.begin(), text.end(), IsDigit);
        // The zero before the point is no digit of the value.
        const bool leading_zero = text.starts_with("0.") || text.starts_with("-0.");
        if (digits - (leading_zero ? 1 : 0) > static_cast<std::ptrdiff_t>(kMaxDecimalDigits)) {
            return Cell::Text(text);
        }
    }
    return Cell::NumberText(WithoutTrailingZeros(text));
}

// With zeros before it: a value, but not its text form.
Cell PaddedDecimalCell(std::string_view text) {
    const auto value = ParseDecimal(text);
    return value ? Cell::FromDecimal(*value) : Cell::Text(text);
}

Cell FloatingCell(std::string_view text, bool single) {
    if (IsCanonicalNumber(text)) {
        return Cell::NumberText(text);
    }
    const auto value = ParseDouble(text);
    if (!value) {
        return Cell::Text(text);
    }
    return single ? Cell::Single(static_cast<float>(*value)) : Cell::Double(*value);
}

// Dates of zeros, and times of more than a day, are no moments: they go on as they are written,
// which the server takes back.
Cell MomentCell(const std::optional<DateTime>& moment, std::string_view text) {
    return moment ? Cell::FromDateTime(*moment) : Cell::Text(text);
}

template <typename Number>
Number FromBits(const RawField& field) {
    Number number = 0;
    std::memcpy(&number, field.data, std::min(field.size, sizeof number));
    return number;
}

}  // namespace

Column Describe(const MYSQL_FIELD& field, unsigned bytes_per_character) {
    const auto shape = ShapeOf(field, std::max(bytes_per_character, 1U));
    Column column;
    column.info.name.assign(field.name, field.name_length);
    column.info.type = shape.type;
    column.info.defined_size = shape.size;
    column.info.precision = shape.precision;
    column.info.scale = shape.scale;
    column.form = shape.form;
    return column;
}

Cell Decode(Form form, const RawField& field) {
    if (field.data == nullptr) {
        return Cell::Null();
    }
    const auto text = field.Text();
    switch (form) {
        case Form::Integer:
            return text.size() <= kSafeIntegerText && IsPlainNumber(text) ? Cell::NumberText(text)
                                                                          : IntegerCell(text);
        case Form::PaddedInteger:
            return IntegerCell(text);
        case Form::Decimal:
            return DecimalCell(text);
        case Form::PaddedDecimal:
            return PaddedDecimalCell(text);
        case Form::Single:
            return FloatingCell(text, true);
        case Form::Double:
            return FloatingCell(text, false);
        case Form::SingleBits:
            return Cell::Single(FromBits<float>(field));
        case Form::DoubleBits:
            return Cell::Double(FromBits<double>(field));
        case Form::DateTime:
            return MomentCell(ParseIsoDateTime(text), text);
        case Form::Time:
            return MomentCell(ParseIsoTime(text), text);
        case Form::Flag:
            return Cell::Boolean(!text.empty() && (text.back() & 1) != 0);
        case Form::Bytes:
            return Cell::Bytes(std::as_bytes(std::span(field.data, field.size)));
        case Form::Text:
            break;
    }
    return Cell::Text(text);
}

}  // namespace vantry::mysql
