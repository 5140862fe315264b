// A cell of any kind has to go into a parameter of any type, by drivers that each refuse something:
// Oracle's has no 64-bit integers, SQLite's drops digits of a second, MySQL's times have none. So
// the parameter's type is tried first, the cell's own kind next. Binding costs more than a value,
// so a binding stays for as long as its shape fits. Easy to get wrong: buffers that move while they
// are bound, scales that shrink (a driver cuts digits off in silence), and the address by which a
// driver asks for a long value.

#include "drivers/odbc/parameters.h"

#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/odbc/errors.h"

#include <algorithm>

namespace vantry::odbc {
namespace {

constexpr SQLULEN kMostWideCharacters = 4000;  // of SQL Server's and Oracle's short types
constexpr SQLULEN kMostShortBytes = 8000;
constexpr SQLULEN kLongSize = 1'073'741'823;
constexpr SQLULEN kDecimalDigits = 38;
constexpr std::size_t kGuidCharacters = 36;

// The next power of two, so that a longer text seldom means a new binding.
SQLULEN RoomFor(SQLULEN characters) {
    SQLULEN room = 32;
    while (room < characters) {
        room *= 2;
    }
    return room;
}

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

// The longest start of `text` that ends with a whole character.
std::string_view WholeCharacters(std::string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text;
    }
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return text.substr(0, end == 0 ? most : end);
}

}  // namespace

Parameters::Parameters(const Link& link,
                       const StatementHandle& statement,
                       std::span<const ParameterInfo> infos)
    : link_(link), statement_(statement), slots_(infos.size()) {
    for (std::size_t k = 0; k < infos.size(); ++k) {
        slots_[k].info = infos[k];
    }
}

bool Parameters::Narrow() const {
    return link_.GetTraits().utf8_text;
}

void Parameters::Set(std::size_t parameter, const Cell& value) {
    auto& slot = slots_[parameter];
    slot.long_value = {};
    if (value.IsNull() || value.IsUnset() || value.Kind() == ValueKind::Unreadable) {
        SetNull(slot);
    } else if (!SetByType(slot, value)) {
        // Not of the parameter's type: the data source decides, and its refusal is the row's error.
        SetByKind(slot, value);
    }
}

bool Parameters::SetByType(Slot& slot, const Cell& value) {
    const int type = slot.info.type;
    if (IsTextType(type)) {
        SetTextForm(slot, value);
        return true;
    }
    if (IsBinaryType(type)) {
        if (!value.IsView()) {
            return false;
        }
        SetBytes(slot, value.AsBytes());
        return true;
    }
    if (IsIntegerType(type)) {
        const auto number = ToInt64(value);
        if (number) {
            SetInteger(slot, *number);
        }
        return number.has_value();
    }
    if (type == adSingle || type == adDouble) {
        const auto number = ToDouble(value);
        if (number) {
            SetDouble(slot, *number);
        }
        return number.has_value();
    }
    if (type == adBoolean) {
        const auto flag = ToBoolean(value);
        if (flag) {
            SetBoolean(slot, *flag);
        }
        return flag.has_value();
    }
    if (IsDateType(type)) {
        const auto moment = ToDateTime(value);
        if (moment) {
            SetMoment(slot, *moment);
        }
        return moment.has_value();
    }
    if (IsNumericType(type) && ToDecimal(value)) {
        SetDecimal(slot, value);
        return true;
    }
    if (type == adGUID && value.Kind() == ValueKind::Text) {
        SetGuid(slot, value.AsText());
        return true;
    }
    return false;
}

void Parameters::SetByKind(Slot& slot, const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Boolean:
            SetBoolean(slot, value.AsBoolean());
            break;
        case ValueKind::Int64:
            SetInteger(slot, value.AsInt64());
            break;
        case ValueKind::Single:
        case ValueKind::Double:
            SetDouble(slot, ToDouble(value).value_or(0));
            break;
        case ValueKind::UInt64:
        case ValueKind::Decimal:
        case ValueKind::NumberText:
            SetDecimal(slot, value);
            break;
        case ValueKind::DateTime:
            SetMoment(slot, value.AsDateTime());
            break;
        case ValueKind::Bytes:
            SetBytes(slot, value.AsBytes());
            break;
        default:
            SetTextForm(slot, value);
            break;
    }
}

// ---- Values

void Parameters::SetNull(Slot& slot) {
    if (slot.bound.c_type == 0) {
        // A null has a type, too: some servers refuse a text where bytes must stand.
        const int type = slot.info.type;
        if (IsBinaryType(type)) {
            SetBytes(slot, {});
        } else if (IsDateType(type)) {
            SetMoment(slot, {});
        } else if (IsIntegerType(type)) {
            SetInteger(slot, 0);
        } else if (type == adSingle || type == adDouble) {
            SetDouble(slot, 0);
        } else if (type == adBoolean) {
            SetBoolean(slot, false);
        } else if (IsNumericType(type)) {
            SetDecimal(slot, Cell::Int64(0));
        } else {
            SetText(slot, {});
        }
    }
    slot.length = SQL_NULL_DATA;
}

void Parameters::SetInteger(Slot& slot, std::int64_t value) {
    // Oracle's driver has no 64-bit integers.
    if (link_.GetTraits().dialect == Dialect::Oracle) {
        SetDecimal(slot, Cell::Int64(value));
        return;
    }
    slot.integer = value;
    slot.length = sizeof slot.integer;
    Bind(slot, {SQL_C_SBIGINT, SQL_BIGINT, 19, 0, &slot.integer});
}

void Parameters::SetDouble(Slot& slot, double value) {
    slot.number = value;
    slot.length = sizeof slot.number;
    Bind(slot, {SQL_C_DOUBLE, SQL_DOUBLE, 15, 0, &slot.number});
}

void Parameters::SetBoolean(Slot& slot, bool value) {
    if (link_.GetTraits().dialect == Dialect::Oracle) {
        SetDecimal(slot, Cell::Int64(value ? 1 : 0));
        return;
    }
    slot.bit = value ? 1 : 0;
    slot.length = sizeof slot.bit;
    Bind(slot, {SQL_C_BIT, SQL_BIT, 1, 0, &slot.bit});
}

// Digits travel as text, all of them; the scale grows with the values, so that none is cut off.
void Parameters::SetDecimal(Slot& slot, const Cell& value) {
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
        slot.info.scale >= 0 && slot.info.scale <= static_cast<int>(kDecimalDigits)
            ? slot.info.scale
            : 0);
    const bool same_kind = slot.bound.sql_type == SQL_DECIMAL;
    const auto before = same_kind ? slot.bound.digits : SQLSMALLINT{0};
    auto scale = std::max({digits, declared, before});
    const auto whole = std::min(point, scratch_.size()) - (scratch_.starts_with('-') ? 1 : 0);
    if (whole + static_cast<std::size_t>(scale) > kDecimalDigits) {
        scale = digits;
    }
    PutShort(slot, scratch_, {SQL_C_CHAR, SQL_DECIMAL, kDecimalDigits, scale, nullptr});
}

void Parameters::SetMoment(Slot& slot, const DateTime& value) {
    const auto dialect = link_.GetTraits().dialect;
    const int type = slot.info.type;
    // SQLite's driver would keep three digits of a second; MySQL's has none in its times.
    const bool only_time = type == adDBTime && value.day == 0;
    if (dialect == Dialect::Sqlite || (only_time && dialect == Dialect::MySql)) {
        PutShort(slot, IsoTextOf(value, type), {SQL_C_CHAR, SQL_VARCHAR, 64, 0, nullptr});
        return;
    }
    const auto moment = MomentOf(value);
    // FreeTDS (1.3.17) counts the days before 1600-03-01 wrong, by up to two, and says nothing. The
    // server's own old dates begin in 1753; its newer ones are understood in this form everywhere.
    constexpr SQLSMALLINT kFirstYear = 1753;
    if (dialect == Dialect::SqlServer && moment.year < kFirstYear) {
        PutShort(slot, IsoTextOf(value, type), {SQL_C_CHAR, SQL_WVARCHAR, 64, 0, nullptr});
        return;
    }
    if (only_time && dialect != Dialect::SqlServer && dialect != Dialect::Oracle &&
        moment.fraction == 0) {
        slot.time = {moment.hour, moment.minute, moment.second};
        slot.length = sizeof slot.time;
        Bind(slot, {SQL_C_TYPE_TIME, SQL_TYPE_TIME, 8, 0, &slot.time});
        return;
    }
    auto digits = FractionDigits(value);
    if (slot.bound.sql_type == SQL_TYPE_TIMESTAMP) {
        digits = std::max(digits, slot.bound.digits);
    }
    slot.moment = moment;
    slot.length = sizeof slot.moment;
    Bind(slot,
         {SQL_C_TYPE_TIMESTAMP,
          SQL_TYPE_TIMESTAMP,
          static_cast<SQLULEN>(20 + digits),
          digits,
          &slot.moment});
}

void Parameters::SetGuid(Slot& slot, std::string_view text) {
    const auto dialect = link_.GetTraits().dialect;
    const auto bare = WithoutBraces(text);
    const bool typed = dialect == Dialect::SqlServer || dialect == Dialect::PostgreSql;
    if (!typed || bare.size() != kGuidCharacters) {
        SetText(slot, text);
        return;
    }
    PutShort(slot, bare, {SQL_C_CHAR, SQL_GUID, kGuidCharacters, 0, nullptr});
}

void Parameters::SetTextForm(Slot& slot, const Cell& value) {
    if (value.Kind() == ValueKind::Bytes || value.Kind() == ValueKind::Text) {
        const auto bytes = value.AsBytes();
        SetText(slot, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return;
    }
    scratch_.clear();
    AppendText(value, scratch_);
    SetText(slot, scratch_);
}

// Always as Unicode where the driver knows such types: a server turns it into a narrower column's
// character set by itself, and not the other way round.
SQLSMALLINT Parameters::TextType(const Slot& slot, SQLULEN characters) const {
    const bool unicode = link_.GetTraits().wide_calls;
    const bool is_long = IsLongType(slot.info.type) ||
                         characters > (unicode ? kMostWideCharacters : kMostShortBytes);
    if (unicode) {
        return is_long ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
    }
    return is_long ? SQL_LONGVARCHAR : SQL_VARCHAR;
}

void Parameters::SetText(Slot& slot, std::string_view utf8) {
    const SQLULEN characters = link_.GetTraits().wide_calls ? CountUtf16Units(utf8) : utf8.size();
    const auto sql_type = TextType(slot, characters);
    const bool is_long = sql_type == SQL_WLONGVARCHAR || sql_type == SQL_LONGVARCHAR;
    slot.text_size = std::max(slot.text_size, RoomFor(characters));
    const SQLULEN most = link_.GetTraits().wide_calls ? kMostWideCharacters : kMostShortBytes;
    const SQLULEN size = is_long ? kLongSize : std::min(slot.text_size, most);
    const auto c_type = static_cast<SQLSMALLINT>(Narrow() ? SQL_C_CHAR : SQL_C_WCHAR);
    if (utf8.size() > link_.GetTuning().piece_bytes) {
        PutLong(slot, utf8, true, {c_type, sql_type, size, 0, nullptr});
        return;
    }
    if (Narrow()) {
        PutShort(slot, utf8, {c_type, sql_type, size, 0, nullptr});
        return;
    }
    units_.clear();
    AppendUtf16FromUtf8(utf8, units_);
    PutShort(slot,
             {reinterpret_cast<const char*>(units_.data()), units_.size() * sizeof(char16_t)},
             {c_type, sql_type, size, 0, nullptr});
}

void Parameters::SetBytes(Slot& slot, std::span<const std::byte> bytes) {
    const bool is_long = IsLongType(slot.info.type) || bytes.size() > kMostShortBytes;
    const auto sql_type = static_cast<SQLSMALLINT>(is_long ? SQL_LONGVARBINARY : SQL_VARBINARY);
    slot.text_size = std::max(slot.text_size, RoomFor(bytes.size()));
    const SQLULEN size = is_long ? kLongSize : std::min(slot.text_size, kMostShortBytes);
    const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (bytes.size() > link_.GetTuning().piece_bytes) {
        PutLong(slot, view, false, {SQL_C_BINARY, sql_type, size, 0, nullptr});
    } else {
        PutShort(slot, view, {SQL_C_BINARY, sql_type, size, 0, nullptr});
    }
}

// ---- Binding

void Parameters::PutShort(Slot& slot, std::string_view bytes, Shape shape) {
    // Room is kept for the terminator, which some drivers look for in spite of the length.
    const auto needed = bytes.size() + sizeof(SQLWCHAR);
    if (slot.bytes.size() < needed) {
        slot.bytes.resize(std::max<std::size_t>(RoomFor(needed), 64));
    }
    std::copy(bytes.begin(), bytes.end(), slot.bytes.begin());
    std::fill_n(
        slot.bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size()), sizeof(SQLWCHAR), '\0');
    slot.length = static_cast<SQLLEN>(bytes.size());
    shape.data = slot.bytes.data();
    Bind(slot, shape);
}

void Parameters::PutLong(Slot& slot, std::string_view value, bool is_text, Shape shape) {
    slot.long_value = value;
    slot.long_is_text = is_text;
    auto bytes = static_cast<SQLLEN>(value.size());
    if (is_text && !Narrow()) {
        bytes = static_cast<SQLLEN>(CountUtf16Units(value) * sizeof(char16_t));
    }
    slot.length = SQL_LEN_DATA_AT_EXEC(bytes);
    shape.data = &slot;  // by which the driver says whose data it wants
    turned_long_ = turned_long_ || (slot.bound.c_type != 0 && slot.bound.data != &slot);
    Bind(slot, shape);
}

void Parameters::Bind(Slot& slot, const Shape& shape) {
    // SQLite's driver (0.9998) gives bytes the length that they had when they were bound, in all
    // executions.
    const bool binds_once =
        shape.c_type != SQL_C_BINARY || link_.GetTraits().dialect != Dialect::Sqlite;
    if (slot.bound == shape && binds_once) {
        return;
    }
    const auto number = static_cast<SQLUSMALLINT>(&slot - slots_.data() + 1);
    const SQLLEN room =
        shape.data == slot.bytes.data() ? static_cast<SQLLEN>(slot.bytes.size()) : 0;
    slot.bound = {};
    link_.Check(SQLBindParameter(statement_.Get(),
                                 number,
                                 SQL_PARAM_INPUT,
                                 shape.c_type,
                                 shape.sql_type,
                                 shape.size,
                                 shape.digits,
                                 shape.data,
                                 room,
                                 &slot.length),
                statement_);
    slot.bound = shape;
}

SQLRETURN Parameters::SendLongValues() {
    for (;;) {
        SQLPOINTER wanted = nullptr;
        const auto result = SQLParamData(statement_.Get(), &wanted);
        if (result != SQL_NEED_DATA) {
            return result;
        }
        const auto* slot = static_cast<const Slot*>(wanted);
        const bool known = slot >= slots_.data() && slot < slots_.data() + slots_.size();
        if (!known) {
            SQLCancel(statement_.Get());
            throw DataError(kErrUnspecified,
                            "The driver asked for the data of a parameter that doesn't exist.",
                            link_.Source());
        }
        SendInPieces(slot->long_value, slot->long_is_text);
    }
}

void Parameters::SendInPieces(std::string_view value, bool is_text) {
    const bool as_units = is_text && !Narrow();
    while (!value.empty()) {
        const auto most = link_.GetTuning().piece_bytes;
        const auto piece = is_text ? WholeCharacters(value, most) : value.substr(0, most);
        value.remove_prefix(piece.size());
        std::string_view sent = piece;
        if (as_units) {
            units_.clear();
            AppendUtf16FromUtf8(piece, units_);
            sent = {reinterpret_cast<const char*>(units_.data()), units_.size() * sizeof(char16_t)};
        }
        const auto result = SQLPutData(
            statement_.Get(), const_cast<char*>(sent.data()), static_cast<SQLLEN>(sent.size()));
        if (!SQL_SUCCEEDED(result)) {
            const auto error = link_.ErrorOf(statement_);
            SQLCancel(statement_.Get());
            throw DataError(error);
        }
    }
}

}  // namespace vantry::odbc
