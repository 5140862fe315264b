// A cell of any kind has to go into a parameter of any type, by drivers that each refuse something:
// Oracle's has no 64-bit integers, SQLite's drops digits of a second, MySQL's times have none. So
// the parameter's type is tried first, the cell's own kind next. Easy to get wrong: scales that
// shrink (a driver cuts digits off in silence), and shapes that change from row to row, each of
// which is declared to the driver anew.

#include "drivers/odbc/parameter_value.h"

#include "data/calendar.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace vantry::odbc {
namespace {

constexpr SQLULEN kMostWideCharacters = 4000;  // of SQL Server's and Oracle's short types
constexpr SQLULEN kMostShortBytes = 8000;
constexpr SQLULEN kLongSize = 1'073'741'823;
constexpr std::size_t kGuidCharacters = 36;

std::string_view WithoutBraces(std::string_view guid) {
    return guid.size() == kGuidCharacters + 2 && guid.front() == '{' && guid.back() == '}'
               ? guid.substr(1, kGuidCharacters)
               : guid;
}

SQL_TIMESTAMP_STRUCT MomentOf(const DateTime& value) {
    const auto date = CalendarOf(value.day);
    const auto seconds = value.nanos / kNanosPerSecond;
    SQL_TIMESTAMP_STRUCT moment{};
    moment.year = static_cast<SQLSMALLINT>(date.year);
    moment.month = static_cast<SQLUSMALLINT>(date.month);
    moment.day = static_cast<SQLUSMALLINT>(date.day);
    moment.hour = static_cast<SQLUSMALLINT>(seconds / 3600);
    moment.minute = static_cast<SQLUSMALLINT>(seconds / 60 % 60);
    moment.second = static_cast<SQLUSMALLINT>(seconds % 60);
    moment.fraction = static_cast<SQLUINTEGER>(value.nanos % kNanosPerSecond);
    return moment;
}

// Digits of the seconds' fraction that the value needs, in steps so that a column of times to the
// millisecond isn't bound anew for each that ends in a zero.
SQLSMALLINT FractionDigits(const DateTime& value) {
    const auto fraction = value.nanos % kNanosPerSecond;
    if (fraction % 1'000'000 == 0) {
        return 3;
    }
    return fraction % 1'000 == 0 ? 6 : 7;
}

// "yyyy-mm-dd hh:mm:ss.f", of which `type` may take but one half.
std::string IsoTextOf(const DateTime& value, int type) {
    std::string text;
    AppendIsoDateTime(value, text);
    constexpr std::size_t kDayCharacters = 10;
    if (type == adDBDate && value.nanos == 0) {
        text.resize(kDayCharacters);
    } else if (type == adDBTime && value.day == 0) {
        text.erase(0, kDayCharacters + 1);
    }
    return text;
}

bool IsNumericType(int type) {
    return type == adCurrency || type == adDecimal || type == adNumeric || type == adVarNumeric;
}

// Numbers in bytes (a BIT(16), a row version) have zeros and the like among them.
bool MayBeText(std::string_view bytes) {
    const bool has_controls = std::any_of(bytes.begin(), bytes.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\r' && c != '\n';
    });
    return !has_controls && IsValidUtf8(bytes);
}

bool IsValueType(int type) {
    return IsIntegerType(type) || IsNumericType(type) || IsDateType(type) || type == adSingle ||
           type == adDouble || type == adBoolean;
}

}  // namespace

SQLULEN RoomFor(SQLULEN size) {
    SQLULEN room = 32;
    while (room < size) {
        room *= 2;
    }
    return room;
}

Encoded ValueEncoder::Encode(const ParameterInfo& info, const Cell& value, Former& former) {
    Target to{info, former, {}};
    if (value.IsNull() || value.IsUnset() || value.Kind() == ValueKind::Unreadable) {
        EncodeNull(to);
    } else {
        // A long text travels through a recordset as bytes. For a number or a date SQL Server would
        // take them for the value's own: "12" would be 12594.
        const bool is_text =
            value.Kind() == ValueKind::Bytes && IsValueType(info.type) && MayBeText(value.AsText());
        const Cell given = is_text ? Cell::Text(value.AsText()) : value;
        if (!EncodeByType(to, given)) {
            // Not of the parameter's type: the data source decides, and its refusal is the row's
            // error.
            EncodeByKind(to, given);
        }
    }
    return to.encoded;
}

bool ValueEncoder::EncodeByType(Target& to, const Cell& value) {
    const int type = to.info.type;
    if (IsTextType(type)) {
        EncodeTextForm(to, value);
        return true;
    }
    if (IsBinaryType(type)) {
        if (!value.IsView()) {
            return false;
        }
        EncodeBytes(to, value.AsBytes());
        return true;
    }
    if (IsIntegerType(type)) {
        const auto number = ToInt64(value);
        if (number) {
            EncodeInteger(to, *number);
        }
        return number.has_value();
    }
    if (type == adSingle || type == adDouble) {
        const auto number = ToDouble(value);
        if (number) {
            EncodeDouble(to, *number);
        }
        return number.has_value();
    }
    if (type == adBoolean) {
        const auto flag = ToBoolean(value);
        if (flag) {
            EncodeBoolean(to, *flag);
        }
        return flag.has_value();
    }
    if (IsDateType(type)) {
        const auto moment = ToDateTime(value);
        if (moment) {
            EncodeMoment(to, *moment);
        }
        return moment.has_value();
    }
    if (IsNumericType(type) && ToDecimal(value)) {
        EncodeDecimal(to, value);
        return true;
    }
    if (type == adGUID && value.Kind() == ValueKind::Text) {
        EncodeGuid(to, value.AsText());
        return true;
    }
    return false;
}

void ValueEncoder::EncodeByKind(Target& to, const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            EncodeBoolean(to, value.AsBoolean());
            break;
        case ValueKind::Int64:
            EncodeInteger(to, value.AsInt64());
            break;
        case ValueKind::Single:
        case ValueKind::Double:
            EncodeDouble(to, ToDouble(value).value_or(0));
            break;
        case ValueKind::UInt64:
        case ValueKind::Decimal:
        case ValueKind::NumberText:
            EncodeDecimal(to, value);
            break;
        case ValueKind::DateTime:
            EncodeMoment(to, value.AsDateTime());
            break;
        case ValueKind::Bytes:
            EncodeBytes(to, value.AsBytes());
            break;
        default:
            EncodeTextForm(to, value);
            break;
    }
}

void ValueEncoder::EncodeNull(Target& to) {
    // As the values before it, so that nothing has to be bound anew.
    if (to.former.shape.c_type != 0) {
        to.encoded.shape = to.former.shape;
    } else {
        // A null has a type, too: some servers refuse a text where bytes must stand.
        const int type = to.info.type;
        if (IsBinaryType(type)) {
            EncodeBytes(to, {});
        } else if (IsDateType(type)) {
            EncodeMoment(to, {});
        } else if (IsIntegerType(type)) {
            EncodeInteger(to, 0);
        } else if (type == adSingle || type == adDouble) {
            EncodeDouble(to, 0);
        } else if (type == adBoolean) {
            EncodeBoolean(to, false);
        } else if (IsNumericType(type)) {
            EncodeDecimal(to, Cell::Int64(0));
        } else {
            EncodeText(to, {});
        }
    }
    to.encoded.is_null = true;
    to.encoded.bytes = {};
}

template <typename Fixed>
void ValueEncoder::PutFixed(Target& to, const Fixed& value, const Shape& shape) {
    fixed_.assign(reinterpret_cast<const char*>(&value), sizeof value);
    to.encoded.bytes = fixed_;
    to.encoded.shape = shape;
}

void ValueEncoder::EncodeInteger(Target& to, std::int64_t value) {
    // Oracle's driver has no 64-bit integers.
    if (link_.GetTraits().dialect == Dialect::Oracle) {
        EncodeDecimal(to, Cell::Int64(value));
        return;
    }
    PutFixed(to, value, {SQL_C_SBIGINT, SQL_BIGINT, 19, 0});
}

// PostgreSQL's driver (13.02) gives numbers and moments their type in the text of a block, and
// leaves that to the server for a single row: 1.5 would be refused by a column of whole numbers
// alone, and become 2 together with other rows. As texts they go alike.
void ValueEncoder::EncodeUntyped(Target& to) {
    to.encoded.bytes = scratch_;
    to.encoded.shape = {SQL_C_CHAR, SQL_VARCHAR, 64, 0};
}

void ValueEncoder::EncodeDouble(Target& to, double value) {
    if (link_.GetTraits().dialect == Dialect::PostgreSql) {
        std::array<char, 32> digits;
        const auto end = std::to_chars(digits.data(),
                                       digits.data() + digits.size(),
                                       value,
                                       std::chars_format::general,
                                       std::numeric_limits<double>::max_digits10);
        scratch_.assign(digits.data(), end.ptr);
        EncodeUntyped(to);
        return;
    }
    PutFixed(to, value, {SQL_C_DOUBLE, SQL_DOUBLE, 15, 0});
}

void ValueEncoder::EncodeBoolean(Target& to, bool value) {
    if (link_.GetTraits().dialect == Dialect::Oracle) {
        EncodeDecimal(to, Cell::Int64(value ? 1 : 0));
        return;
    }
    const unsigned char bit = value ? 1 : 0;
    PutFixed(to, bit, {SQL_C_BIT, SQL_BIT, 1, 0});
}

// Digits travel as text, all of them; the scale grows with the values, so that none is cut off.
void ValueEncoder::EncodeDecimal(Target& to, const Cell& value) {
    scratch_.clear();
    if (const auto decimal = ToDecimal(value)) {
        AppendDecimal(*decimal, scratch_);
    } else {
        AppendText(value, scratch_);
    }
    const auto point = scratch_.find('.');
    const auto digits =
        static_cast<SQLSMALLINT>(point == std::string::npos ? 0 : scratch_.size() - point - 1);
    const auto declared = static_cast<SQLSMALLINT>(
        to.info.scale >= 0 && to.info.scale <= static_cast<int>(kDecimalDigits) ? to.info.scale
                                                                                : 0);
    const bool same_kind = to.former.shape.sql_type == SQL_DECIMAL;
    const auto before = same_kind ? to.former.shape.digits : SQLSMALLINT{0};
    auto scale = std::max({digits, declared, before});
    const auto whole = std::min(point, scratch_.size()) - (scratch_.starts_with('-') ? 1 : 0);
    // Declared digits give way where the whole ones need their room; those of the value never do.
    if (whole + static_cast<std::size_t>(scale) > kDecimalDigits) {
        scale = digits;
    }
    to.encoded.bytes = scratch_;
    to.encoded.whole_digits = whole;
    to.encoded.shape = {SQL_C_CHAR, SQL_DECIMAL, kDecimalDigits, scale};
}

void ValueEncoder::EncodeMoment(Target& to, const DateTime& value) {
    const auto dialect = link_.GetTraits().dialect;
    const int type = to.info.type;
    // SQLite's driver would keep three digits of a second; MySQL's has none in its times.
    const bool only_time = type == adDBTime && value.day == 0;
    if (dialect == Dialect::Sqlite || (only_time && dialect == Dialect::MySql)) {
        scratch_ = IsoTextOf(value, type);
        EncodeUntyped(to);
        return;
    }
    if (dialect == Dialect::PostgreSql) {
        constexpr std::int64_t kNanosKept = 1'000;  // the server has millionths of a second
        const auto nanos = value.nanos - value.nanos % kNanosKept;
        const bool is_plain = nanos % kNanosPerSecond == 0;
        scratch_ = IsoTextOf({value.day, nanos}, only_time && is_plain ? adDBTime : adDBTimeStamp);
        EncodeUntyped(to);
        return;
    }
    const auto moment = MomentOf(value);
    // FreeTDS (1.3.17) counts the days before 1600-03-01 wrong, by up to two, and says nothing. The
    // server's own old dates begin in 1753; its newer ones are understood in this form everywhere.
    constexpr SQLSMALLINT kFirstYear = 1753;
    if (dialect == Dialect::SqlServer && moment.year < kFirstYear) {
        scratch_ = IsoTextOf(value, type);
        to.encoded.bytes = scratch_;
        to.encoded.shape = {SQL_C_CHAR, SQL_WVARCHAR, 64, 0};
        return;
    }
    // The structure of a time has no fraction.
    if (only_time && dialect != Dialect::SqlServer && dialect != Dialect::Oracle &&
        moment.fraction == 0) {
        const SQL_TIME_STRUCT time = {moment.hour, moment.minute, moment.second};
        PutFixed(to, time, {SQL_C_TYPE_TIME, SQL_TYPE_TIME, 8, 0});
        return;
    }
    auto digits = FractionDigits(value);
    // A shape that shrank with each rounder value would be bound anew each time.
    if (to.former.shape.sql_type == SQL_TYPE_TIMESTAMP) {
        digits = std::max(digits, to.former.shape.digits);
    }
    PutFixed(to,
             moment,
             {SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, static_cast<SQLULEN>(20 + digits), digits});
}

void ValueEncoder::EncodeGuid(Target& to, std::string_view text) {
    const auto dialect = link_.GetTraits().dialect;
    const auto bare = WithoutBraces(text);
    // The others keep a GUID as text, with its braces.
    const bool typed = dialect == Dialect::SqlServer || dialect == Dialect::PostgreSql;
    if (!typed || bare.size() != kGuidCharacters) {
        EncodeText(to, text);
        return;
    }
    to.encoded.bytes = bare;
    to.encoded.shape = {SQL_C_CHAR, SQL_GUID, kGuidCharacters, 0};
}

void ValueEncoder::EncodeTextForm(Target& to, const Cell& value) {
    if (value.Kind() == ValueKind::Bytes || value.Kind() == ValueKind::Text) {
        const auto bytes = value.AsBytes();
        EncodeText(to, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return;
    }
    scratch_.clear();
    AppendText(value, scratch_);
    EncodeText(to, scratch_);
}

// Always as Unicode where the driver knows such types: a server turns it into a narrower column's
// character set by itself, and not the other way round.
SQLSMALLINT ValueEncoder::TextType(const ParameterInfo& info, SQLULEN characters) const {
    const bool unicode = link_.GetTraits().wide_calls;
    const bool is_long =
        IsLongType(info.type) || characters > (unicode ? kMostWideCharacters : kMostShortBytes);
    if (unicode) {
        return is_long ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
    }
    return is_long ? SQL_LONGVARCHAR : SQL_VARCHAR;
}

void ValueEncoder::EncodeText(Target& to, std::string_view utf8) {
    const SQLULEN characters = link_.GetTraits().wide_calls ? CountUtf16Units(utf8) : utf8.size();
    const auto sql_type = TextType(to.info, characters);
    const bool is_long = sql_type == SQL_WLONGVARCHAR || sql_type == SQL_LONGVARCHAR;
    to.former.text_size = std::max(to.former.text_size, RoomFor(characters));
    const SQLULEN most = link_.GetTraits().wide_calls ? kMostWideCharacters : kMostShortBytes;
    const SQLULEN size = is_long ? kLongSize : std::min(to.former.text_size, most);
    const auto c_type = static_cast<SQLSMALLINT>(Narrow() ? SQL_C_CHAR : SQL_C_WCHAR);
    if (utf8.size() > link_.GetTuning().piece_bytes) {
        to.encoded.is_long = to.encoded.long_is_text = true;
        to.encoded.bytes = utf8;
        to.encoded.shape = {c_type, sql_type, size, 0};
        return;
    }
    if (Narrow()) {
        to.encoded.bytes = utf8;
        to.encoded.shape = {c_type, sql_type, size, 0};
        return;
    }
    units_.clear();
    AppendUtf16FromUtf8(utf8, units_);
    to.encoded.bytes = {reinterpret_cast<const char*>(units_.data()),
                        units_.size() * sizeof(char16_t)};
    to.encoded.shape = {c_type, sql_type, size, 0};
}

void ValueEncoder::EncodeBytes(Target& to, std::span<const std::byte> bytes) {
    const bool is_long = IsLongType(to.info.type) || bytes.size() > kMostShortBytes;
    const auto sql_type = static_cast<SQLSMALLINT>(is_long ? SQL_LONGVARBINARY : SQL_VARBINARY);
    to.former.text_size = std::max(to.former.text_size, RoomFor(bytes.size()));
    const SQLULEN size = is_long ? kLongSize : std::min(to.former.text_size, kMostShortBytes);
    const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    to.encoded.is_long = bytes.size() > link_.GetTuning().piece_bytes;
    to.encoded.bytes = view;
    to.encoded.shape = {SQL_C_BINARY, sql_type, size, 0};
}

}  // namespace vantry::odbc
