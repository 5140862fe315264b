#include "drivers/access/rows/default_value.h"

#include "data/letter_case.h"
#include "data/value_text.h"

namespace vantry::access {
namespace {

// The text between two quotes, doubled ones inside made single; nothing if they don't match up.
std::optional<std::string> Unquoted(std::string_view text) {
    const char quote = text.front();
    std::string out;
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] != quote) {
            out += text[at];
        } else if (at + 1 < text.size() && text[at + 1] == quote) {
            out += text[at++];
        } else {
            return at + 1 == text.size() ? std::optional(out) : std::nullopt;
        }
    }
    return std::nullopt;
}

Cell Keep(const Cell& cell, Value& memory) {
    memory.Assign(cell);
    return memory.AsCell();
}

// Access lets a default begin with an equals sign.
std::string_view WithoutSign(std::string_view expression) {
    const std::string_view text = Trimmed(expression);
    return text.starts_with('=') ? Trimmed(text.substr(1)) : text;
}

}  // namespace

bool IsNewGuid(std::string_view expression) {
    return UpperCased(WithoutSign(expression)) == "GENGUID()";
}

std::optional<Cell> EvaluateDefault(std::string_view expression, Value& memory) {
    const std::string_view text = WithoutSign(expression);
    if (text.empty()) {
        return Cell::Null();
    }
    if (text.front() == '"' || text.front() == '\'') {
        const auto unquoted = Unquoted(text);
        return unquoted ? std::optional(Keep(Cell::Text(*unquoted), memory)) : std::nullopt;
    }
    if (text.front() == '#' && text.back() == '#' && text.size() > 2) {
        // Literals are written month first, whatever the locale.
        const auto inside = text.substr(1, text.size() - 2);
        DateForm form;
        form.order = DateOrder::MonthDayYear;
        form.separator = '/';
        const auto date = ParseDateTime(inside, form);
        return date ? std::optional(Cell::FromDateTime(*date)) : std::nullopt;
    }
    if (const auto number = ParseDecimal(text)) {
        return Cell::FromDecimal(*number);
    }
    if (const auto number = ParseDouble(text)) {
        return Cell::Double(*number);
    }
    const std::string word = UpperCased(text);
    if (word == "TRUE" || word == "YES" || word == "ON") {
        return Cell::Boolean(true);
    }
    if (word == "FALSE" || word == "NO" || word == "OFF") {
        return Cell::Boolean(false);
    }
    if (word == "NULL") {
        return Cell::Null();
    }
    DateTime now = Now();
    if (word == "NOW()") {
        return Cell::FromDateTime(now);
    }
    if (word == "DATE()") {
        now.nanos = 0;
        return Cell::FromDateTime(now);
    }
    if (word == "TIME()") {
        now.day = 0;
        return Cell::FromDateTime(now);
    }
    return std::nullopt;
}

}  // namespace vantry::access
