#include "support/tds/store_errors.h"

#include "support/tds/statement_text.h"

#include <algorithm>

namespace vantry::test::tds {
namespace {

constexpr char kErrorSign = '\1';  // no words of SQLite's begin with it

int LineOf(std::string_view sql, std::size_t offset) {
    int line = 1;
    for (std::size_t k = 0; k < std::min(offset, sql.size()); ++k) {
        line += sql[k] == '\n' || (sql[k] == '\r' && sql.substr(k + 1, 1) != "\n") ? 1 : 0;
    }
    return line;
}

std::string Behind(std::string_view text, std::string_view words) {
    const auto at = text.find(words);
    return at == std::string_view::npos ? "" : std::string(text.substr(at + words.size()));
}

// "t.c" or "t.a, t.b"
std::string TableOf(const std::string& names) {
    return names.substr(0, names.find('.'));
}

ServerError ErrorOf(std::string_view database, std::string_view sql, const std::string& words) {
    if (words.starts_with(kErrorSign)) {
        const auto blank = words.find(' ');
        return {std::stoi(words.substr(1, blank)), words.substr(blank + 1)};
    }
    if (const auto name = Behind(words, "no such table: "); !name.empty()) {
        const bool drop = FirstWord(sql) == "DROP";
        return drop ? ServerError(3701,
                                  "Cannot drop the table '" + name +
                                      "', because it does not exist or you do not have permission.",
                                  11)
                    : ServerError(208, "Invalid object name '" + name + "'.");
    }
    if (const auto name = Behind(words, "no such column: "); !name.empty()) {
        return {207, "Invalid column name '" + name + "'."};
    }
    if (const auto name = Behind(words, "has no column named "); !name.empty()) {
        return {207, "Invalid column name '" + name + "'."};
    }
    if (words.starts_with("table ") && words.ends_with(" already exists")) {
        const auto name = words.substr(6, words.size() - 6 - 15);
        return {2714, "There is already an object named '" + Unquoted(name) + "' in the database."};
    }
    if (const auto names = Behind(words, "UNIQUE constraint failed: "); !names.empty()) {
        return {2627,
                "Violation of PRIMARY KEY constraint 'PK_" + TableOf(names) +
                    "'. Cannot insert duplicate key in object 'dbo." + TableOf(names) + "'.",
                14};
    }
    if (const auto name = Behind(words, "NOT NULL constraint failed: "); !name.empty()) {
        return {515,
                "Cannot insert the value NULL into column '" + name.substr(name.find('.') + 1) +
                    "', table '" + std::string(database) + ".dbo." + TableOf(name) +
                    "'; column does not allow nulls. INSERT fails."};
    }
    if (words.starts_with("near \"")) {
        const auto end = words.find('"', 6);
        return {102, "Incorrect syntax near '" + words.substr(6, end - 6) + "'.", 15};
    }
    return {50000, words};
}

}  // namespace

std::string ErrorInWords(const ServerError& error) {
    return kErrorSign + std::to_string(error.number) + " " + error.what();
}

ServerError ServersError(std::string_view database,
                         std::string_view sql,
                         std::string_view sent,
                         const std::string& words,
                         int offset) {
    auto error = ErrorOf(database, sql, words);
    error.line = LineOf(sent, offset < 0 ? 0 : static_cast<std::size_t>(offset));
    return error;
}

}  // namespace vantry::test::tds
