#include "drivers/odbc/all_digits.h"

#include "data/letter_case.h"

#include <algorithm>

namespace vantry::odbc {
namespace {

// Behind blanks and comments.
std::string_view FromFirstWord(std::string_view sql) {
    for (;;) {
        sql.remove_prefix(std::min(sql.find_first_not_of(" \t\r\n"), sql.size()));
        const bool line = sql.starts_with("--");
        if (!line && !sql.starts_with("/*")) {
            return sql;
        }
        const auto end = sql.find(line ? "\n" : "*/", 2);
        sql.remove_prefix(end == std::string_view::npos ? sql.size() : end + (line ? 1 : 2));
    }
}

bool BeginsWith(std::string_view sql, std::string_view word) {
    return EqualsNoCase(sql.substr(0, word.size()), word);
}

// The type of a column binds no value in SQLite: a column of texts, an expression and a column
// without a type may give a double as well as one of that type. A decimal is what its column says.
bool MayHoldDouble(const Column& column) {
    return column.form == Form::WideText ||
           (column.form >= Form::IntegerText && column.form != Form::DecimalText);
}

}  // namespace

std::optional<std::string> WithAllDigits(std::string_view sql, std::span<const Column> columns) {
    const std::string_view statement = FromFirstWord(sql);
    const auto end = statement.find_last_not_of(" \t\r\n;") + 1;
    if ((!BeginsWith(statement, "select") && !BeginsWith(statement, "with")) ||
        std::none_of(columns.begin(), columns.end(), MayHoldDouble)) {
        return std::nullopt;
    }
    std::string names;
    std::string list;
    for (std::size_t k = 0; k < columns.size(); ++k) {
        const auto name = "c" + std::to_string(k);
        names += (k > 0 ? "," : "") + name;
        list += k > 0 ? "," : "";
        // Fifteen digits where they are all of it, so that 12.34 doesn't grow; else twenty, because
        // SQLite's last one isn't always right. Values of other types are left alone.
        list += MayHoldDouble(columns[k])
                    ? "CASE WHEN typeof(" + name + ")<>'real' OR CAST(printf('%!.15g'," + name +
                          ") AS REAL)=" + name + " THEN " + name + " ELSE printf('%!.20g'," + name +
                          ") END"
                    : name;
    }
    // A line of its own, in case that the statement ends in a comment.
    return "WITH vy(" + names + ") AS (" + std::string(statement.substr(0, end)) + "\n) SELECT " +
           list + " FROM vy";
}

}  // namespace vantry::odbc
