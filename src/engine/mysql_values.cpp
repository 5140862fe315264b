// Values as MySQL reads them in the text of an INSERT. One function a group of types, chosen once a
// table, each of which appends to the batch without a text of its own in between: a batch of 100
// rows is one string. Easy to get wrong: a quote inside a text is doubled and a backslash isn't,
// since stored sessions hold texts that were escaped for exactly that; a null text is an empty one;
// and what isn't a number must not stand bare, or the server reads it as part of the statement.

#include "engine/mysql_values.h"

#include "data/ado_types.h"
#include "data/data_error.h"
#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace vantry {
namespace {

void AppendNull(std::string& batch) {
    batch += "NULL,";
}

// With each single quote doubled: the only escaping there is.
void AppendQuoted(std::string_view text, std::string& batch) {
    batch += '\'';
    while (!text.empty()) {
        const auto* const quote =
            static_cast<const char*>(std::memchr(text.data(), '\'', text.size()));
        if (quote == nullptr) {
            batch += text;
            break;
        }
        const auto length = static_cast<std::size_t>(quote - text.data()) + 1;
        batch.append(text.data(), length);
        batch += '\'';
        text.remove_prefix(length);
    }
    batch += "',";
}

// By hand: a date formatter that allocates would be the slowest part of a row.
char* PutDigits(char* out, int value, int digits) {
    for (int place = digits - 1; place >= 0; --place) {
        out[place] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

}  // namespace

ServerDateText FormatForServer(const Cell& value) {
    const auto moment = ToDateTime(value);
    if (!moment) {
        throw DataError(kErrConversion,
                        "The value \"" + ToText(value) + "\" of a date column is no date.");
    }
    const auto date = CalendarOf(moment->day);
    const auto seconds = static_cast<int>(moment->nanos / kNanosPerSecond);
    const std::array parts = {
        date.month, date.day, seconds / 3600, seconds / 60 % 60, seconds % 60};
    ServerDateText text;
    char* out = PutDigits(text.data(), date.year, 4);
    for (const int part : parts) {
        *out++ = '-';
        out = PutDigits(out, part, 2);
    }
    return text;
}

bool IsTextWithoutDate(const Cell& value) {
    return value.Kind() == ValueKind::Text && !ToDateTime(value);
}

namespace {

void AppendDatePiece(const Cell& value, std::string& batch) {
    if (value.IsNull()) {
        AppendNull(batch);
        return;
    }
    if (IsTextWithoutDate(value)) {
        AppendQuoted(value.AsText(), batch);
        return;
    }
    const auto text = FormatForServer(value);
    batch += '\'';
    batch.append(text.data(), text.size());
    batch += "',";
}

// The order of the cases is that of their frequency: views of the source's own memory first.
void AppendTextPiece(const Cell& value, std::string& batch) {
    if (value.IsView()) {
        AppendQuoted(value.AsText(), batch);
    } else if (value.IsNull()) {
        batch += "'',";
    } else {
        AppendQuoted(ToText(value), batch);
    }
}

// Loads with binary columns go by the recordset (HasLongFields), which needs no escaping.
void AppendBinaryPiece(const Cell& value, std::string& batch) {
    if (value.IsNull()) {
        AppendNull(batch);
        return;
    }
    batch += '\'';
    AppendText(value, batch);
    batch += "',";
}

// A source that doesn't hold its columns to their types may have any text in a column of numbers.
// Bare in the statement, what is neither a number nor a GUID would be read as part of it.
bool CanStandBare(std::string_view text) {
    const bool is_guid =
        text.starts_with('{') &&
        text.find_first_not_of("{}-0123456789abcdefABCDEF") == std::string_view::npos;
    return is_guid || ParseDouble(text);
}

void AppendTrimmedText(const Cell& value, std::string& out) {
    if (value.Kind() != ValueKind::Text) {
        AppendText(value, out);  // no other kind has blanks at its ends
        return;
    }
    out += Trimmed(value.AsText());
}

void AppendPlainPiece(const Cell& value, std::string& batch) {
    switch (value.Kind()) {
        case ValueKind::Null:
            AppendNull(batch);
            return;
        case ValueKind::NumberText:
            batch += value.AsText();
            break;
        case ValueKind::Int64: {
            std::array<char, 24> digits;
            const auto end =
                std::to_chars(digits.data(), digits.data() + digits.size(), value.AsInt64()).ptr;
            batch.append(digits.data(), end);
            break;
        }
        case ValueKind::Single:
            // The server reads a double first, and the shortest form of the largest float is a
            // double above it.
            if (std::abs(value.AsSingle()) == std::numeric_limits<float>::max()) {
                AppendDouble(double{value.AsSingle()}, batch);
            } else {
                AppendText(value, batch);
            }
            break;
        // Raw bytes in a column of another type: quoted, since they may be anything.
        case ValueKind::Bytes:
            AppendQuoted(value.AsText(), batch);
            return;
        case ValueKind::Text:
            if (const auto text = Trimmed(value.AsText()); !CanStandBare(text)) {
                AppendQuoted(text, batch);
                return;
            }
            [[fallthrough]];
        default:
            AppendTrimmedText(value, batch);
            break;
    }
    batch += ',';
}

}  // namespace

AppendPiece PieceOf(int type) {
    return IsDateType(type)     ? AppendDatePiece
           : IsTextType(type)   ? AppendTextPiece
           : IsBinaryType(type) ? AppendBinaryPiece
                                : AppendPlainPiece;
}

}  // namespace vantry
