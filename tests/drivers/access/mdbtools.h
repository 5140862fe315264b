#pragma once
// What mdbtools says of a file: an independent reader's view of its tables and rows.

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/access/catalogue/table_def.h"
#include "support/child_program.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::test {

// Longer than any text of control characters that the files hold.
inline const std::string kFieldEnd = "\x1F<field>\x1F";
inline const std::string kRowEnd = "\x1F<row>\x1F";
inline const std::string kNull = "\x1F<null>\x1F";

inline std::vector<std::string> MdbSplit(const std::string& text, const std::string& end) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + end.size();
    }
    if (start < text.size()) {
        parts.push_back(text.substr(start));
    }
    return parts;
}

inline std::string MdbHex(std::span<const std::byte> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const auto byte : bytes) {
        text.push_back(kDigits[static_cast<unsigned>(byte) >> 4]);
        text.push_back(kDigits[static_cast<unsigned>(byte) & 0xF]);
    }
    return text;
}

inline bool MdbClose(double left, double right, double precision) {
    return left == right || std::fabs(left - right) <= precision * std::fabs(left);
}

inline std::string MdbSecond(DateTime moment, std::int64_t half) {
    moment.nanos += half;
    moment.nanos -= moment.nanos % kNanosPerSecond;
    if (moment.nanos == kNanosPerDay) {
        moment = {moment.day + 1, 0};
    }
    std::string text;
    AppendIsoDateTime(moment, text);
    return text;
}

inline bool HasMdbtools() {
    return HasProgram("mdb-export") && HasProgram("mdb-tables");
}

// User tables, sorted.
inline std::vector<std::string> MdbTableNames(const std::string& path) {
    auto names = MdbSplit(OutputOf({"mdb-tables", "-1", path}), "\n");
    std::sort(names.begin(), names.end());
    return names;
}

// Fields as mdbtools prints them; nothing for null. The first row has the names of the columns,
// which come in the order of their numbers.
using MdbRow = std::vector<std::optional<std::string>>;
inline std::vector<MdbRow> MdbRows(const std::string& path, const std::string& table) {
    const std::string moment = "%Y-%m-%d %H:%M:%S";
    const std::vector<std::string> ends{"-d", kFieldEnd, "-R", kRowEnd, "-0", kNull};
    const std::vector<std::string> forms{"-b", "hex", "-D", moment, "-T", moment, path, table};
    std::vector<std::string> command{"mdb-export", "-Q"};
    command.insert(command.end(), ends.begin(), ends.end());
    command.insert(command.end(), forms.begin(), forms.end());
    std::vector<MdbRow> rows;
    for (const auto& line : MdbSplit(OutputOf(command), kRowEnd)) {
        // An empty last field leaves no trace behind its separator.
        auto fields = MdbSplit(line + kFieldEnd, kFieldEnd);
        MdbRow row;
        for (auto& field : fields) {
            row.push_back(field == kNull ? std::nullopt : std::optional(std::move(field)));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

// Whether mdbtools reads values of this column rightly at all. It doesn't undo the wrapper of
// calculated values, prints the key instead of the values of a complex column, ends short binary
// ones at a 0 byte, takes GUIDs for those, and doesn't know extended dates and large numbers.
inline bool MdbKnows(const access::ColumnDef& column) {
    return !column.IsCalculated() && column.type != access::ColumnType::Complex &&
           column.type != access::ColumnType::DateTimeExtended &&
           column.type != access::ColumnType::BigInt &&
           column.type != access::ColumnType::Unknown11 &&
           column.type != access::ColumnType::Binary && column.type != access::ColumnType::Guid;
}

// Whether a cell says what mdbtools printed. Dates before 1900 are taken for equal: it prints
// those as of another century.
inline bool SameAsMdb(const Cell& cell,
                      const access::ColumnDef& column,
                      const std::optional<std::string>& printed) {
    if (cell.IsNull() || !printed) {
        return cell.IsNull() && !printed;
    }
    switch (column.type) {
        case access::ColumnType::Boolean:
            return *printed == (cell.AsBoolean() ? "1" : "0");
        case access::ColumnType::Single:
            return MdbClose(double{cell.AsSingle()}, std::strtod(printed->c_str(), nullptr), 1e-7);
        case access::ColumnType::Double:
            return MdbClose(cell.AsDouble(), std::strtod(printed->c_str(), nullptr), 1e-14);
        case access::ColumnType::Currency:
        case access::ColumnType::Numeric: {
            const auto ours = ToDecimal(cell, 10);
            const auto theirs = ToDecimal(Cell::Text(*printed), 10);
            return ours && theirs && ours->unscaled == theirs->unscaled;
        }
        case access::ColumnType::DateTime: {
            if (cell.AsDateTime().day < 2) {  // 1900-01-01
                return true;
            }
            // mdbtools rounds to the second, halves in either direction.
            return *printed == MdbSecond(cell.AsDateTime(), kNanosPerSecond / 2) ||
                   *printed == MdbSecond(cell.AsDateTime(), kNanosPerSecond / 2 - 1);
        }
        case access::ColumnType::Text:
        case access::ColumnType::Memo:
            // mdbtools ends text at a NUL.
            return cell.AsText().substr(0, cell.AsText().find('\0')) == *printed;
        case access::ColumnType::Ole:
            return MdbHex(cell.AsBytes()) == *printed;
        default:
            return ToText(cell) == *printed;
    }
}

}  // namespace vantry::test
