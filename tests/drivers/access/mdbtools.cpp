#include "drivers/access/mdbtools.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "support/child_program.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vantry::test {
namespace {

using access::ColumnType;

// Longer than any text of control characters that the files hold.
const std::string kFieldEnd = "\x1F<field>\x1F";
const std::string kRowEnd = "\x1F<row>\x1F";
const std::string kNull = "\x1F<null>\x1F";

std::vector<std::string> Split(const std::string& text, const std::string& end) {
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

std::string Hex(std::span<const std::byte> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const auto byte : bytes) {
        text.push_back(kDigits[static_cast<unsigned>(byte) >> 4]);
        text.push_back(kDigits[static_cast<unsigned>(byte) & 0xF]);
    }
    return text;
}

bool Close(double left, double right, double precision) {
    return left == right || std::fabs(left - right) <= precision * std::fabs(left);
}

std::string NearestSecond(DateTime moment, std::int64_t half) {
    moment.nanos += half;
    moment.nanos -= moment.nanos % kNanosPerSecond;
    if (moment.nanos == kNanosPerDay) {
        moment = {moment.day + 1, 0};
    }
    std::string text;
    AppendIsoDateTime(moment, text);
    return text;
}

}  // namespace

bool HasMdbtools() {
    return HasProgram("mdb-export") && HasProgram("mdb-tables");
}

std::vector<std::string> MdbTableNames(const std::string& path) {
    auto names = Split(OutputOf({"mdb-tables", "-1", path}), "\n");
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<MdbRow> MdbRows(const std::string& path, const std::string& table) {
    const std::string moment = "%Y-%m-%d %H:%M:%S";
    const std::vector<std::string> ends{"-d", kFieldEnd, "-R", kRowEnd, "-0", kNull};
    const std::vector<std::string> forms{"-b", "hex", "-D", moment, "-T", moment, path, table};
    std::vector<std::string> command{"mdb-export", "-Q"};
    command.insert(command.end(), ends.begin(), ends.end());
    command.insert(command.end(), forms.begin(), forms.end());
    std::vector<MdbRow> rows;
    for (const auto& line : Split(OutputOf(command), kRowEnd)) {
        // An empty last field leaves no trace behind its separator.
        auto fields = Split(line + kFieldEnd, kFieldEnd);
        MdbRow row;
        for (auto& field : fields) {
            row.push_back(field == kNull ? std::nullopt : std::optional(std::move(field)));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

bool MdbKnows(const access::ColumnDef& column) {
    return !column.IsCalculated() && column.type != ColumnType::Complex &&
           column.type != ColumnType::DateTimeExtended && column.type != ColumnType::BigInt &&
           column.type != ColumnType::Unknown11 && column.type != ColumnType::Binary &&
           column.type != ColumnType::Guid;
}

bool SameAsMdb(const Cell& cell,
               const access::ColumnDef& column,
               const std::optional<std::string>& printed) {
    if (cell.IsNull() || !printed) {
        return cell.IsNull() && !printed;
    }
    switch (column.type) {
        case ColumnType::Boolean:
            return *printed == (cell.AsBoolean() ? "1" : "0");
        case ColumnType::Single:
            return Close(double{cell.AsSingle()}, std::strtod(printed->c_str(), nullptr), 1e-7);
        case ColumnType::Double:
            return Close(cell.AsDouble(), std::strtod(printed->c_str(), nullptr), 1e-14);
        case ColumnType::Currency:
        case ColumnType::Numeric: {
            const auto ours = ToDecimal(cell, 10);
            const auto theirs = ToDecimal(Cell::Text(*printed), 10);
            return ours && theirs && ours->unscaled == theirs->unscaled;
        }
        case ColumnType::DateTime: {
            if (cell.AsDateTime().day < 2) {  // 1900-01-01
                return true;
            }
            // mdbtools rounds to the second, halves in either direction.
            return *printed == NearestSecond(cell.AsDateTime(), kNanosPerSecond / 2) ||
                   *printed == NearestSecond(cell.AsDateTime(), kNanosPerSecond / 2 - 1);
        }
        case ColumnType::Text:
        case ColumnType::Memo:
            // mdbtools ends text at a NUL.
            return cell.AsText().substr(0, cell.AsText().find('\0')) == *printed;
        case ColumnType::Ole:
            return Hex(cell.AsBytes()) == *printed;
        default:
            return ToText(cell) == *printed;
    }
}

}  // namespace vantry::test
