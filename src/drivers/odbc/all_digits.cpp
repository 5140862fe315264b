#include "drivers/odbc/all_digits.h"

#include "data/letter_case.h"

#include <algorithm>

namespace vantry::odbc {

std::optional<std::string> WithAllDigits(std::string_view sql, std::span<const Column> columns) {
    constexpr std::string_view kBlanks = " \t\r\n";
    constexpr std::string_view kSelect = "select";
    const auto begin = std::min(sql.find_first_not_of(kBlanks), sql.size());
    const auto end = sql.find_last_not_of(" \t\r\n;") + 1;
    const auto is_floating = [](const Column& column) { return column.form == Form::NumberText; };
    if (!EqualsNoCase(sql.substr(begin, kSelect.size()), kSelect) ||
        std::none_of(columns.begin(), columns.end(), is_floating)) {
        return std::nullopt;
    }
    std::string names;
    std::string list;
    for (std::size_t k = 0; k < columns.size(); ++k) {
        const auto name = "c" + std::to_string(k);
        names += (k > 0 ? "," : "") + name;
        list += k > 0 ? "," : "";
        // Twenty digits, because SQLite's last one isn't always right. Values of other types are
        // left alone: a floating column may hold a text.
        list += is_floating(columns[k])
                    ? "CASE typeof(" + name + ") WHEN 'real' THEN printf('%!.20g'," + name +
                          ") ELSE " + name + " END"
                    : name;
    }
    // A line of its own, in case that the statement ends in a comment.
    return "WITH vy(" + names + ") AS (" + std::string(sql.substr(begin, end - begin)) +
           "\n) SELECT " + list + " FROM vy";
}

}  // namespace vantry::odbc
