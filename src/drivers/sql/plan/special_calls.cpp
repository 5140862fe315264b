// Most of these become CASE, so that a division by zero in the branch that isn't taken fails no
// row. IIf(a, x, IIf(b, y, z)) is one CASE of two conditions and not one within another: users'
// cascades are longer than the hundred levels that SQLite's parser holds. A CASE has one type, the
// common one of its branches, and each branch is converted to it: SQLite would give each row its
// own.

#include "drivers/sql/plan/special_calls.h"

#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/plan/sql_text.h"

#include <limits>

namespace vantry::sql {
namespace {

constexpr std::size_t kAnyCount = std::numeric_limits<std::size_t>::max();

// What VarType says of a type, and TypeName.
std::pair<int, std::string_view> VariantType(int code) {
    switch (code) {
        case adSmallInt:
            return {2, "Integer"};
        case adInteger:
            return {3, "Long"};
        case adSingle:
            return {4, "Single"};
        case adDouble:
            return {5, "Double"};
        case adCurrency:
            return {6, "Currency"};
        case adBoolean:
            return {11, "Boolean"};
        case adUnsignedTinyInt:
            return {17, "Byte"};
        case adNumeric:
        case adDecimal:
            return {14, "Decimal"};
        default:
            break;
    }
    switch (FamilyOf(code)) {
        case Family::Date:
            return {7, "Date"};
        case Family::Text:
            return {8, "String"};
        case Family::Binary:
            return {8209, "Byte()"};
        case Family::Unknown:
            return {1, "Null"};
        default:
            return {5, "Double"};
    }
}

}  // namespace

struct SpecialCalls::Entry {
    std::string_view name;
    std::size_t least;  // arguments
    std::size_t most;
    std::optional<Term> (SpecialCalls::*make)(std::span<const Term> arguments) const;
    std::optional<Dialect::Kind> dialect = {};  // none: of every one
};

const SpecialCalls::Entry* SpecialCalls::Find(std::string_view name) const {
    using enum Dialect::Kind;
    static constexpr Entry kEntries[] = {
        {"iif", 3, 3, &SpecialCalls::FirstTrue},
        {"switch", 2, kAnyCount, &SpecialCalls::FirstTrue},
        {"choose", 2, kAnyCount, &SpecialCalls::ChosenByNumber},
        {"nz", 1, 2, &SpecialCalls::ValueOrElse, Jet},
        {"nz", 2, 2, &SpecialCalls::ValueOrElse, FoxPro},
        {"nvl", 1, 2, &SpecialCalls::ValueOrElse, Jet},
        {"nvl", 2, 2, &SpecialCalls::ValueOrElse, FoxPro},
        {"isnull", 1, 1, &SpecialCalls::NullTest},
        {"isdate", 1, 1, &SpecialCalls::DateTest},
        {"vartype", 1, 1, &SpecialCalls::TypeNumber},
        {"typename", 1, 1, &SpecialCalls::TypeWord},
        {"cvar", 1, 1, &SpecialCalls::Unchanged},
        {"between", 3, 3, &SpecialCalls::Between, FoxPro},
        {"inlist", 2, kAnyCount, &SpecialCalls::InList, FoxPro},
        {"max", 2, 2, &SpecialCalls::LargerOfTwo, FoxPro},
        {"min", 2, 2, &SpecialCalls::SmallerOfTwo, FoxPro},
    };
    const auto dialect = conversions_.DialectKind();
    // Few enough to be looked through at each call.
    for (const auto& entry : kEntries) {
        if (EqualsNoCase(name, entry.name) && entry.dialect.value_or(dialect) == dialect) {
            return &entry;
        }
    }
    return nullptr;
}

std::optional<std::vector<const Expression*>> SpecialCalls::Arguments(
    const Expression& call) const {
    const auto* entry = Find(call.name);
    if (entry == nullptr) {
        return std::nullopt;
    }
    std::vector<const Expression*> arguments;
    const auto* at = &call;
    while (true) {
        const auto count = at->operands.size();
        // Switch has a value for each condition.
        const bool odd_pairs = count % 2 != 0 && EqualsNoCase(call.name, "switch");
        if (count < entry->least || count > entry->most || odd_pairs) {
            throw WrongArguments(at->text);
        }
        for (const auto& operand : at->operands) {
            arguments.push_back(operand.get());
        }
        const auto* last = arguments.back();
        // The whole cascade becomes one list: condition, value, condition, value, ..., else.
        const bool cascade = EqualsNoCase(call.name, "iif") &&
                             last->kind == Expression::Kind::Call &&
                             EqualsNoCase(last->name, "iif");
        if (!cascade) {
            return arguments;
        }
        arguments.pop_back();
        at = last;
    }
}

std::optional<Term> SpecialCalls::Make(const Expression& call,
                                       std::span<const Term> arguments) const {
    return (this->*Find(call.name)->make)(arguments);
}

// CASE over conditions; each branch is worked out only when its condition holds.
Term SpecialCalls::Choice(const Branches& branches, const Term* otherwise) const {
    Term term;
    for (const auto& branch : branches) {
        term.type = CommonType(term.type, branch.second.type);
    }
    if (otherwise != nullptr) {
        term.type = CommonType(term.type, otherwise->type);
    }
    term.sql = "(CASE";
    for (const auto& [condition, value] : branches) {
        term.sql += " WHEN " + condition + " THEN " + conversions_.AsType(value, term.type);
    }
    if (otherwise != nullptr) {
        term.sql += " ELSE " + conversions_.AsType(*otherwise, term.type);
    }
    term.sql += " END)";
    return term;
}

// Pairs of a condition and a value; one that is left over is the value where none holds.
std::optional<Term> SpecialCalls::FirstTrue(std::span<const Term> arguments) const {
    Branches branches;
    for (std::size_t k = 0; k + 1 < arguments.size(); k += 2) {
        branches.emplace_back(conversions_.AsCondition(arguments[k]), arguments[k + 1]);
    }
    return Choice(branches, arguments.size() % 2 != 0 ? &arguments.back() : nullptr);
}

std::optional<Term> SpecialCalls::ChosenByNumber(std::span<const Term> arguments) const {
    // Choose rounds its number, and is Null outside the list.
    const auto index = conversions_.Function("+whole", {conversions_.AsNumber(arguments[0])});
    Branches branches;
    for (std::size_t k = 1; k < arguments.size(); ++k) {
        branches.emplace_back("(" + index + " = " + std::to_string(k) + ")", arguments[k]);
    }
    return Choice(branches, nullptr);
}

std::optional<Term> SpecialCalls::ValueOrElse(std::span<const Term> arguments) const {
    const auto& value = arguments[0];
    Term otherwise;
    if (arguments.size() == 2) {
        otherwise = arguments[1];
    } else {
        const auto family = FamilyOf(value.type);
        const bool text = family == Family::Text || family == Family::Unknown;
        // Nz alone: an empty text or a zero, by what the value is.
        otherwise.sql = text ? "''" : "0";
        otherwise.type = text ? TextType(0) : value.type;
    }
    return Choice({{"(" + Conversions::Value(value) + " IS NOT NULL)", value}}, &otherwise);
}

std::optional<Term> SpecialCalls::NullTest(std::span<const Term> arguments) const {
    return Truth("(" + Conversions::Value(arguments[0]) + " IS NULL)");
}

// A text is looked at by the function of that name.
std::optional<Term> SpecialCalls::DateTest(std::span<const Term> arguments) const {
    if (FamilyOf(arguments[0].type) != Family::Date) {
        return std::nullopt;
    }
    return Truth("(" + Conversions::Value(arguments[0]) + " IS NOT NULL)");
}

std::optional<Term> SpecialCalls::TypeNumber(std::span<const Term> arguments) const {
    Term term;
    term.sql = "(CASE WHEN " + Conversions::Value(arguments[0]) + " IS NULL THEN 1 ELSE " +
               std::to_string(VariantType(arguments[0].type.code).first) + " END)";
    term.type = SimpleType(adSmallInt);
    return term;
}

std::optional<Term> SpecialCalls::TypeWord(std::span<const Term> arguments) const {
    Term term;
    term.sql = "(CASE WHEN " + Conversions::Value(arguments[0]) + " IS NULL THEN 'Null' ELSE " +
               TextLiteral(VariantType(arguments[0].type.code).second) + " END)";
    term.type = TextType(0);
    return term;
}

std::optional<Term> SpecialCalls::Unchanged(std::span<const Term> arguments) const {
    return arguments[0];
}

std::optional<Term> SpecialCalls::Between(std::span<const Term> arguments) const {
    return comparisons_.Between(arguments[0], arguments[1], arguments[2]);
}

std::optional<Term> SpecialCalls::InList(std::span<const Term> arguments) const {
    return comparisons_.InList(
        arguments[0], std::vector<Term>(arguments.begin() + 1, arguments.end()), false);
}

std::optional<Term> SpecialCalls::LargerOfTwo(std::span<const Term> arguments) const {
    return BetterOfTwo(Operator::GreaterOrEqual, arguments);
}

std::optional<Term> SpecialCalls::SmallerOfTwo(std::span<const Term> arguments) const {
    return BetterOfTwo(Operator::LessOrEqual, arguments);
}

Term SpecialCalls::BetterOfTwo(Operator op, std::span<const Term> arguments) const {
    return Choice({{comparisons_.Compare(op, arguments[0], arguments[1]).sql, arguments[0]}},
                  &arguments[1]);
}

}  // namespace vantry::sql
