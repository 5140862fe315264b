#pragma once
// What the fidelity matrix sends through all routes: two tables of values that copies tend to spoil
// (extremes, fractions, nulls beside empty texts, other scripts, long texts, bytes), and the same
// tables in the words of each kind of source.

#include "data/value.h"

#include <span>
#include <string>
#include <string_view>

namespace vantry::bench {

enum class Meaning { Whole, Float, Exact, Truth, Moment, Text, Bytes };

struct FidelityColumn {
    std::string_view name;
    Meaning meaning;
    // The type in CREATE TABLE, or behind "Coln=" of Schema.ini; empty: that kind has none.
    std::string_view access;
    std::string_view mysql;
    std::string_view sqlite;  // as an ODBC source
    std::string_view mssql;
    std::string_view oracle;
    std::string_view text;
    std::string_view foxpro;
};

struct FidelityTable {
    std::string_view name;
    std::span<const FidelityColumn> columns;
    int rows;
    bool has_long_columns;  // these go another way through the loaders
    // Has values that some targets refuse or change: what arrives is held to the check before the
    // run alone.
    bool has_edges = false;
};

std::span<const FidelityTable> FidelityTables();
// Texts keep to the letters of one code page, where a side of the route has no others.
void KeepToWindows1252(bool keep);
// The first column is the row's number, from 1.
Value FidelityValue(const FidelityTable& table, std::size_t column, int row);

}  // namespace vantry::bench
