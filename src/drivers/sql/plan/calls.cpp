// A function's table entry says in letters what each argument must be; a call is its arguments,
// converted so, in SQLite's call of that function. What a letter can't say is said here: functions
// whose result has the type of an argument, and the decimals that most functions can't take.

#include "drivers/sql/plan/calls.h"

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"

#include <algorithm>

namespace vantry::sql {
namespace {

// SQLite has the first five, the others are ours; to the planner they are one kind.
constexpr std::string_view kAggregateNames[] = {
    "count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"};

bool IsAny(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::any_of(
        names.begin(), names.end(), [&](auto other) { return EqualsNoCase(name, other); });
}

// Whether a text function cuts its result to a length, given as a literal, that fits a short text.
bool CutsShort(const Expression& call) {
    const auto* last = call.operands.empty() ? nullptr : call.operands.back().get();
    return last != nullptr && IsAny(call.name, {"left", "right", "mid"}) &&
           last->kind == Expression::Kind::Literal &&
           last->literal.AsCell().Kind() == ValueKind::Int64 &&
           last->literal.AsCell().AsInt64() <= 255 &&
           (call.operands.size() == 3 || !EqualsNoCase(call.name, "mid"));
}

// Of a function that keeps the type of its argument: Round, Abs, Int and such.
ValueType KeptType(const ValueType& argument) {
    const auto family = FamilyOf(argument);
    return family == Family::Number || family == Family::Date ? argument
           : family == Family::Boolean                        ? SimpleType(adInteger)
                                                              : SimpleType(adDouble);
}

}  // namespace

bool IsAggregateCall(const Expression& expression) {
    // Max(a, b) with two values is FoxPro's larger one.
    return expression.kind == Expression::Kind::Call && expression.operands.size() == 1 &&
           std::any_of(std::begin(kAggregateNames), std::end(kAggregateNames), [&](auto name) {
               return EqualsNoCase(expression.name, name);
           });
}

bool HasAggregate(const Expression& expression) {
    return IsAggregateCall(expression) ||
           std::any_of(expression.operands.begin(),
                       expression.operands.end(),
                       [](const auto& operand) { return HasAggregate(*operand); });
}

const FunctionEntry& Calls::Find(const Expression& call) const {
    // Our own operators are in the same tables, under names that begin with a plus sign.
    const auto* entry = FindFunction(call.name, conversions_.DialectKind());
    if (entry == nullptr || entry->finish != nullptr || call.name.starts_with('+')) {
        throw UndefinedFunction(call.name);
    }
    const auto count = static_cast<int>(call.operands.size());
    if (count < entry->least || count > entry->most) {
        throw WrongArguments(call.text);
    }
    return *entry;
}

// What a call gets of an argument, in the order in which the rules win: a function that gives a
// currency takes everything exactly, then comes the letter of the entry.
std::string Calls::Argument(const FunctionEntry& entry,
                            std::size_t position,
                            const Term& term) const {
    const char wanted = entry.arguments[std::min(position, entry.arguments.size() - 1)];
    // Round and Abs of a date are a date: as a number it would lose that.
    const bool date_kept = entry.result == 'v' && FamilyOf(term.type) == Family::Date;
    const bool plain =
        IsWide(term.type) ? !entry.exact || position > 0 : wanted == 'n' && !date_kept;
    return entry.result == 'c' ? conversions_.AsExact(term)
           : wanted == 't'     ? conversions_.AsText(term)
           : wanted == 'd'     ? conversions_.AsDate(term)
           : plain             ? conversions_.AsNumber(term)
                               : Conversions::Value(term);
}

Term Calls::Plain(const Expression& call,
                  const FunctionEntry& entry,
                  std::span<const Term> arguments) const {
    std::string list;
    std::int64_t text_size = 0;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        list += (k > 0 ? ", " : "") + Argument(entry, k, arguments[k]);
        if (FamilyOf(arguments[k].type) == Family::Text) {
            text_size = std::max(text_size, arguments[k].type.size);
        }
    }
    // Inside SQLite a date is a number: only its type tells that Format is to make a date's text.
    const bool date_format = EqualsNoCase(entry.name, "format") && !arguments.empty() &&
                             FamilyOf(arguments[0].type) == Family::Date;
    Term term;
    term.sql = date_format ? conversions_.Function("+formatdate", {list})
                           : conversions_.Function(entry, list);
    term.type = entry.result == 'v'   ? KeptType(arguments[0].type)
                : entry.result == 't' ? TextType(CutsShort(call) ? 0 : text_size)
                                      : TypeOfLetter(entry.result);
    if (IsWide(term.type) && !entry.exact) {
        term.sql = conversions_.Function("+exact", {term.sql});
    }
    return term;
}

Term Calls::CountRows() {
    Term term;
    term.sql = "count(*)";
    term.type = SimpleType(adInteger);
    return term;
}

Term Calls::Aggregate(const Expression& call, const Term& value) const {
    const std::string distinct = call.distinct ? "DISTINCT " : "";
    Term term;
    // Different values are told apart by the collation, as GROUP BY does it.
    if (EqualsNoCase(call.name, "count")) {
        const auto counted = call.distinct ? Conversions::AsKey(value) : Conversions::Value(value);
        term.sql = "count(" + distinct + counted + ")";
        term.type = SimpleType(adInteger);
    } else if (IsAny(call.name, {"min", "max"})) {
        term.sql =
            (EqualsNoCase(call.name, "min") ? "min(" : "max(") + Conversions::AsKey(value) + ")";
        term.type = value.type;
    } else if (IsAny(call.name, {"first", "last"})) {
        term.sql = conversions_.Function(call.name, {Conversions::Value(value)});
        term.type = value.type;
    } else if (EqualsNoCase(call.name, "sum")) {
        return Sum(value, distinct);
    } else if (EqualsNoCase(call.name, "avg")) {
        return Average(value, distinct);
    } else {
        term.sql = conversions_.Function(call.name, {distinct + conversions_.AsNumber(value)});
        term.type = SimpleType(adDouble);
    }
    return term;
}

// SQLite's own sum is a double's; decimals have one of ours.
Term Calls::Sum(const Term& value, std::string_view distinct) const {
    Term term;
    if (!IsExactDecimal(value.type.code)) {
        term.sql = "sum(" + std::string(distinct) + conversions_.AsNumber(value) + ")";
        term.type = SimpleType(adDouble);
        return term;
    }
    term.sql = conversions_.Function("+sum", {std::string(distinct) + Conversions::Value(value)});
    const int scale = value.type.scale == kDoesNotApply ? 0 : value.type.scale;
    term.type = value.type.code == adCurrency ? value.type : DecimalType(scale);
    return term;
}

Term Calls::Average(const Term& value, std::string_view distinct) const {
    Term term;
    term.sql = "avg(" + std::string(distinct) + conversions_.AsNumber(value) + ")";
    // An average has more decimals than its values; a currency's is rounded to one.
    term.type = SimpleType(value.type.code == adCurrency ? adCurrency : adDouble);
    if (IsWide(term.type)) {
        term.sql = conversions_.Function("+exact", {term.sql});
    }
    return term;
}

}  // namespace vantry::sql
