#pragma once
// The types of SQL Server: their names in statements, their description and their values in the
// protocol's result rows and parameters.
//
// Source of the facts: the published protocol document [MS-TDS], "Data Type Definitions" (2.2.5.4
// to 2.2.5.5).

#include "data/value.h"
#include "support/tds/bytes.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vantry::test::tds {

// An error as the server tells it; the numbers are those of its public list of messages.
struct ServerError : std::runtime_error {
    ServerError(int its_number, const std::string& text, int its_severity = 16)
        : std::runtime_error(text), number(its_number), severity(its_severity) {}
    int number;
    int severity;
};

enum class Kind {
    Bit,
    TinyInt,
    SmallInt,
    Int,
    BigInt,
    Real,
    Float,
    SmallMoney,
    Money,
    Decimal,
    Char,
    VarChar,
    NChar,
    NVarChar,
    Text,
    NText,
    Binary,
    VarBinary,
    Image,
    Guid,
    Date,
    Time,
    DateTime2,
    DateTimeOffset,
    DateTime,
    SmallDateTime,
    RowVersion
};

inline constexpr int kMax = -1;

struct Type {
    Kind kind = Kind::NVarChar;
    int size = 4000;  // characters or bytes of the short types, kMax for "(max)"
    int precision = 18;
    int scale = 0;  // decimals, digits of a second
    std::string name = "nvarchar";
};

// "nvarchar(40)"; nothing if there is no such type. Names of decimals may end in "_text"
// (store.h).
std::optional<Type> ParseType(std::string_view declared);

bool IsWideText(Kind kind);    // texts of UTF-16
bool IsNarrowText(Kind kind);  // texts of the server's code page, 1252
bool IsBytes(Kind kind);

// A column's description, without its name.
void PutType(const Type& type, Writer& out);
// A value of that column, null or of the kind that a stored value has (InColumn).
void PutValue(const Type& type, const Cell& value, Writer& out);

// A parameter: its description, which only says how to read it, then its value.
Value TakeParameter(Reader& in);

// The value that a column of `type` keeps of `value`: the server's implicit conversions and its
// rounding. Kinds that are kept: integers for bits and integers, doubles, decimals of the column's
// own scale (money has four), texts, bytes, moments; texts for identifiers and for moments with an
// offset. Throws ServerError for what the server refuses.
Value InColumn(const Type& type, const Cell& value);

inline constexpr unsigned kIntegerToken = 0x26;
inline constexpr unsigned kBitToken = 0x68;
inline constexpr unsigned kFloatToken = 0x6D;
// Latin1_General_CI_AS: code page 1252, without regard to letter case.
inline constexpr std::string_view kCollation("\x09\x04\xD0\x00\x34", 5);
// 1900-01-01, from which the older types count their days; the newer ones do from 0001-01-01.
inline constexpr std::int32_t kDay1900 = 2;
// In the place of a length: null, or "in pieces" for a column's; null in pieces.
inline constexpr unsigned kNoValue = 0xFFFF;
inline constexpr std::uint64_t kNoPieces = ~std::uint64_t{0};

// Of the unit in which times of that scale count.
inline std::int64_t NanosPerUnit(int scale) {
    std::int64_t nanos = kNanosPerSecond;
    for (int k = 0; k < scale; ++k) {
        nanos /= 10;
    }
    return nanos;
}
// What the catalogue calls the size of a type whose seconds may have places; 0 of all others.
int CharactersOf(const Type& type);
// A datetimeoffset is stored as text: local time, a blank, the distance to UTC as "+hh:mm".
struct OffsetMoment {
    vantry::DateTime utc;
    int offset_minutes = 0;
};
OffsetMoment ReadOffsetMoment(std::string_view text);
// The text form of a moment with so many digits of a second.
std::string MomentText(const vantry::DateTime& moment, int digits);

}  // namespace vantry::test::tds
