#include "drivers/odbc/select_parts.h"

#include "data/ascii.h"
#include "data/connection_string.h"

namespace vantry::odbc {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// Behind the quoted name or text that begins at `at`, or `at` + 1.
std::size_t SkipOne(std::string_view sql, std::size_t at) {
    // Names are quoted in one of three ways, by the server's kind; the last sign is for texts.
    constexpr std::string_view kOpening = "[\"`'";
    constexpr std::string_view kClosing = "]\"`'";
    const auto quote = kOpening.find(sql[at]);
    if (quote != std::string_view::npos) {
        const auto end = sql.find(kClosing[quote], at + 1);
        return end == std::string_view::npos ? sql.size() : end + 1;
    }
    return at + 1;
}

// The same, or behind the round bracket that ends one which begins there. Counted rather than
// called again for each inner one: a statement of the user's may have any number of them.
std::size_t Skip(std::string_view sql, std::size_t at) {
    std::size_t depth = 0;
    do {
        if (sql[at] == '(') {
            ++depth;
        } else if (sql[at] == ')' && depth > 0) {
            --depth;
        }
        at = SkipOne(sql, at);
    } while (depth > 0 && at < sql.size());
    return at;
}

// Whether the word stands at `at` by itself, in any letter case.
bool IsWordAt(std::string_view sql, std::size_t at, std::string_view word) {
    const auto is_edge = [&](std::size_t position) {
        return position >= sql.size() || (kBlanks.find(sql[position]) != std::string_view::npos) ||
               std::string_view("[]\"`'()*").find(sql[position]) != std::string_view::npos;
    };
    return EqualsNoCase(sql.substr(at, word.size()), word) && (at == 0 || is_edge(at - 1)) &&
           is_edge(at + word.size());
}

}  // namespace

std::optional<SelectParts> SplitSelect(std::string_view sql) {
    constexpr std::string_view kSelect = "select";
    constexpr std::string_view kFrom = "from";
    sql = TrimSpace(sql);
    if (!IsWordAt(sql, 0, kSelect)) {
        return std::nullopt;
    }
    SelectParts parts;
    std::size_t begin = kSelect.size();
    for (std::size_t at = begin; at < sql.size();) {
        if (sql[at] == ',') {
            parts.columns.push_back(TrimSpace(sql.substr(begin, at - begin)));
            begin = at + 1;
        } else if (IsWordAt(sql, at, kFrom)) {
            parts.columns.push_back(TrimSpace(sql.substr(begin, at - begin)));
            parts.table = TrimSpace(sql.substr(at + kFrom.size()));
            break;
        }
        at = Skip(sql, at);
    }
    for (const auto column : parts.columns) {
        const bool quoted =
            !column.empty() && std::string_view("[\"`").find(column[0]) != std::string_view::npos;
        // Quoted, a name may have brackets.
        if (column.empty() || (!quoted && column.find('(') != std::string_view::npos)) {
            return std::nullopt;  // an expression is no column that a row could be added to
        }
    }
    return parts.table.empty() ? std::nullopt : std::optional(parts);
}

}  // namespace vantry::odbc
