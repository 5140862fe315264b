#pragma once
// Facts of text tables: the types that a column of one can have, the limits that tables are held
// to, and the texts that stand for them in "Schema.ini". Published by the maker of the format.

#include "data/driver.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantry::text {

enum class ColumnType : std::uint8_t {
    Bit,
    Byte,
    Short,
    Long,
    Currency,
    Single,
    Double,
    DateTime,
    Text,
    Memo,
    Decimal,
    Binary,
    Ole,
};

inline constexpr std::size_t kMaxColumns = 255;
inline constexpr std::size_t kMaxNameUnits = 64;   // UTF-16 units of a column's name
inline constexpr std::size_t kMaxTextUnits = 255;  // UTF-16 units of a Text column
inline constexpr int kDefaultScanRows = 25;        // rows that are looked at to guess types

inline constexpr std::string_view kSchemaFile = "Schema.ini";
// Extensions by which the catalogue takes a file for a table.
inline constexpr std::string_view kTableExtensions[] = {"txt", "csv", "tab", "asc"};

// A guessed type holds numbers of at most this many digits: a double keeps no more of them.
inline constexpr int kMaxGuessedDigits = 15;

// Limits of our own. A row is held in memory whole, so one that is longer than any sensible row is
// an error; it is nearly always a text qualifier that is never closed.
inline constexpr std::size_t kMaxRowBytes = std::size_t{256} << 20;
inline constexpr std::size_t kMaxSchemaBytes = std::size_t{16} << 20;

// What the data-access layer reports of a column of that type. `width` counts for Text and Binary,
// `precision` and `scale` for Decimal.
ColumnInfo InfoFor(ColumnType type, int width, int precision, int scale);

// The word that stands for the type in a Col line.
std::string_view TypeWord(ColumnType type);

}  // namespace vantry::text
