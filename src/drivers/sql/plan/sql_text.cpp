#include "drivers/sql/plan/sql_text.h"

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/parse/lexer.h"

#include <array>
#include <cstdio>

namespace vantry::sql {

std::string_view Symbol(Operator op) {
    switch (op) {
        case Operator::Equal:
        case Operator::ExactlyEqual:
            return " = ";
        case Operator::NotEqual:
            return " <> ";
        case Operator::Less:
            return " < ";
        case Operator::LessOrEqual:
            return " <= ";
        case Operator::Greater:
            return " > ";
        case Operator::GreaterOrEqual:
            return " >= ";
        case Operator::Add:
            return " + ";
        case Operator::Subtract:
            return " - ";
        case Operator::Multiply:
            return " * ";
        case Operator::And:
            return " AND ";
        case Operator::Or:
            return " OR ";
        // Division, powers and the like aren't left to SQLite.
        default:
            return "";
    }
}

std::string NumberLiteral(double number) {
    std::array<char, 40> buffer{};
    // 17 digits give back the same double.
    std::snprintf(buffer.data(), buffer.size(), "%.17g", number);
    std::string text = buffer.data();
    // "3" would be a whole number, and 3 / 2 would be 1.
    if (text.find_first_of(".en") == std::string::npos) {
        text += ".0";
    }
    return text;
}

std::string ExactLiteral(const Decimal& number) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string sql = "x'";
    const ExactBytes exact(number);
    for (const auto byte : exact.Bytes()) {
        sql += kHex[std::to_integer<unsigned>(byte) >> 4];
        sql += kHex[std::to_integer<unsigned>(byte) & 15];
    }
    return sql + "'";
}

std::string TextLiteral(std::string_view text) {
    std::string sql = "'";
    for (const char c : text) {
        sql += c;
        // Nothing but the quote has a meaning within SQLite's texts.
        if (c == '\'') {
            sql += c;
        }
    }
    return sql + "'";
}

std::string ComparableText(std::string_view text) {
    std::string out;
    char quote = 0;
    for (const char c : text) {
        // "a+b" and "A + b" are one expression, 'a b' and 'ab' two texts.
        if (quote == 0 && IsSpace(c)) {
            continue;
        }
        if (c == '"' || c == '\'') {
            quote = quote == 0 ? c : quote == c ? '\0' : quote;
        }
        out += quote == 0 ? LowerCase(c) : c;
    }
    return out;
}

std::string Joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

}  // namespace vantry::sql
