// Calls of functions, and the conversions that bring a value into the form that a place asks for.

#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/plan/statement_compiler.h"

namespace vantry::sql {
namespace {

constexpr std::string_view kAggregateNames[] = {
    "count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"};

bool IsAny(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::any_of(
        names.begin(), names.end(), [&](auto other) { return SameWord(name, other); });
}

}  // namespace

bool IsAggregateName(std::string_view name) {
    return std::any_of(std::begin(kAggregateNames), std::end(kAggregateNames), [&](auto other) {
        return SameWord(name, other);
    });
}

bool HasAggregate(const Expression& expression) {
    // Max(a, b) with two values is FoxPro's larger one.
    if (expression.kind == Expression::Kind::Call && IsAggregateName(expression.name) &&
        expression.operands.size() == 1) {
        return true;
    }
    return std::any_of(expression.operands.begin(),
                       expression.operands.end(),
                       [](const auto& operand) { return HasAggregate(*operand); });
}

std::string StatementCompiler::Function(std::string_view name,
                                        std::initializer_list<std::string> arguments) {
    const auto* entry = FindFunction(name, dialect_.kind);
    functions_.insert(entry);
    std::string sql = SqlName(*entry) + "(";
    for (const auto& argument : arguments) {
        sql += (sql.back() == '(' ? "" : ", ") + argument;
    }
    return sql + ")";
}

Term StatementCompiler::Call(const Expression& call, Scope& scope) {
    if (call.operands.size() == 1 && IsAggregateName(call.name)) {
        return Aggregate(call, scope);
    }
    if (auto special = SpecialCall(call, scope)) {
        return *special;
    }
    const auto* entry = FindFunction(call.name, dialect_.kind);
    if (entry == nullptr || entry->finish != nullptr || call.name.starts_with('+')) {
        throw UndefinedFunction(call.name);
    }
    return PlainCall(call, *entry, scope);
}

Term StatementCompiler::PlainCall(const Expression& call,
                                  const FunctionEntry& entry,
                                  Scope& scope) {
    const auto count = static_cast<int>(call.operands.size());
    if (count < entry.least || count > entry.most) {
        throw WrongArguments(call.text);
    }
    std::string sql;
    std::vector<Term> terms;
    std::int64_t text_size = 0;
    for (std::size_t k = 0; k < call.operands.size(); ++k) {
        terms.push_back(Compile(*call.operands[k], scope));
        const auto& term = terms.back();
        const char wanted = entry.arguments[std::min(k, entry.arguments.size() - 1)];
        const bool date_kept = entry.result == 'v' && FamilyOf(term.type) == Family::Date;
        sql += k > 0 ? ", " : "";
        const bool plain = IsWide(term.type) ? !entry.exact || k > 0 : wanted == 'n' && !date_kept;
        sql += entry.result == 'c' ? AsExact(term)
               : wanted == 't'     ? AsText(term)
               : wanted == 'd'     ? AsDate(term)
               : plain             ? AsNumber(term)
                                   : Value(term);
        if (FamilyOf(term.type) == Family::Text) {
            text_size = std::max(text_size, term.type.size);
        }
    }
    Term term;
    const bool date_format =
        SameWord(entry.name, "format") && !terms.empty() && FamilyOf(terms[0].type) == Family::Date;
    const auto* used = date_format ? FindFunction("+formatdate", dialect_.kind) : &entry;
    functions_.insert(used);
    term.sql = SqlName(*used) + "(" + sql + ")";
    if (entry.result == 'v') {
        const auto family = FamilyOf(terms[0].type);
        term.type = family == Family::Number || family == Family::Date ? terms[0].type
                    : family == Family::Boolean                        ? SimpleType(adInteger)
                                                                       : SimpleType(adDouble);
    } else if (entry.result == 't') {
        const auto* last = call.operands.empty() ? nullptr : call.operands.back().get();
        const bool cut = last != nullptr && IsAny(entry.name, {"left", "right", "mid"}) &&
                         last->kind == Expression::Kind::Literal &&
                         last->literal.AsCell().Kind() == ValueKind::Int64 &&
                         last->literal.AsCell().AsInt64() <= 255 &&
                         (call.operands.size() == 3 || !SameWord(entry.name, "mid"));
        term.type = TextType(cut ? 0 : text_size);
    } else {
        term.type = TypeOfLetter(entry.result);
    }
    if (IsWide(term.type) && !entry.exact) {
        term.sql = Function("+exact", {term.sql});
    }
    return term;
}

Term StatementCompiler::Aggregate(const Expression& call, Scope& scope) {
    if (!scope.allows_aggregates || scope.in_aggregate) {
        throw MisplacedAggregate(call.text);
    }
    const auto& operand = *call.operands[0];
    Term term;
    if (operand.kind == Expression::Kind::Star) {
        if (!SameWord(call.name, "count")) {
            throw WrongArguments(call.text);
        }
        term.sql = "count(*)";
        term.type = SimpleType(adInteger);
        return term;
    }
    keeps_values_ = true;
    scope.in_aggregate = true;
    const auto value = Compile(operand, scope);
    scope.in_aggregate = false;
    const std::string distinct = call.distinct ? "DISTINCT " : "";
    if (SameWord(call.name, "count")) {
        term.sql = "count(" + distinct + (call.distinct ? AsKey(value) : Value(value)) + ")";
        term.type = SimpleType(adInteger);
    } else if (IsAny(call.name, {"min", "max"})) {
        term.sql = (SameWord(call.name, "min") ? "min(" : "max(") + AsKey(value) + ")";
        term.type = value.type;
    } else if (IsAny(call.name, {"first", "last"})) {
        term.sql = Function(call.name, {Value(value)});
        term.type = value.type;
    } else if (SameWord(call.name, "sum")) {
        const bool exact = IsExactDecimal(value.type.code);
        const int scale = value.type.scale == kDoesNotApply ? 0 : value.type.scale;
        term.sql = exact ? Function("+sum", {distinct + Value(value)})
                         : "sum(" + distinct + AsNumber(value) + ")";
        term.type = !exact                          ? SimpleType(adDouble)
                    : value.type.code == adCurrency ? value.type
                                                    : DecimalType(scale);
    } else if (SameWord(call.name, "avg")) {
        term.sql = "avg(" + distinct + AsNumber(value) + ")";
        term.type = SimpleType(value.type.code == adCurrency ? adCurrency : adDouble);
        term.sql = IsWide(term.type) ? Function("+exact", {term.sql}) : term.sql;
    } else {
        term.sql = Function(call.name, {distinct + AsNumber(value)});
        term.type = SimpleType(adDouble);
    }
    return term;
}

std::string StatementCompiler::Value(const Term& term) const {
    return term.logical ? "(-" + term.sql + ")" : term.sql;
}

std::string StatementCompiler::AsCondition(const Term& term) {
    switch (FamilyOf(term.type)) {
        case Family::Text:
        case Family::Binary:
            throw TypeMismatch();
        case Family::Unknown:
            return term.dynamic ? Function("+number", {term.sql}) : term.sql;
        default:
            return IsWide(term.type) ? AsNumber(term) : term.sql;
    }
}

std::string StatementCompiler::AsText(const Term& term) {
    switch (FamilyOf(term.type)) {
        case Family::Text:
            return term.sql;
        case Family::Date:
            return Function("+datetext", {term.sql});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL"  ? term.sql
                   : IsWide(term.type) ? Function("+exacttext", {term.sql})
                                       : Function("+text", {Value(term)});
    }
}

std::string StatementCompiler::AsNumber(const Term& term) {
    switch (FamilyOf(term.type)) {
        case Family::Number:
        case Family::Boolean:
            return IsWide(term.type) ? Function("+plain", {term.sql}) : Value(term);
        case Family::Date:
            return Function("+serial", {term.sql});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL" ? term.sql : Function("+number", {term.sql});
    }
}

std::string StatementCompiler::AsExact(const Term& term) {
    if (IsWide(term.type) || term.sql == "NULL") {
        return term.sql;
    }
    const auto family = FamilyOf(term.type);
    const bool number = family == Family::Date || family == Family::Binary;
    return Function("+exact", {number ? AsNumber(term) : Value(term)});
}

std::string StatementCompiler::AsDate(const Term& term) {
    switch (FamilyOf(term.type)) {
        case Family::Date:
            return term.sql;
        case Family::Number:
        case Family::Boolean:
            return Function("+linear", {AsNumber(term)});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL" ? term.sql : Function("+date", {term.sql});
    }
}

std::string StatementCompiler::AsFamily(const Term& term, Family family) {
    switch (family) {
        case Family::Boolean:
        case Family::Number:
            return AsNumber(term);
        case Family::Date:
            return AsDate(term);
        case Family::Text:
            return AsText(term);
        default:
            return Value(term);
    }
}

std::string StatementCompiler::AsType(const Term& term, const ValueType& type) {
    const auto family = FamilyOf(term.type);
    const auto wanted = FamilyOf(type);
    if (IsWide(type)) {
        return AsExact(term);
    }
    if (IsWide(term.type)) {
        return AsFamily(term, wanted);
    }
    if (family == wanted || family == Family::Unknown || wanted == Family::Unknown) {
        return Value(term);
    }
    return AsFamily(term, wanted);
}

std::string StatementCompiler::AsKey(const Term& term) {
    auto sql = Value(term);
    if (FamilyOf(term.type) == Family::Text && !term.collated) {
        return sql + " COLLATE VY";
    }
    // A bare whole number would mean the column of that position.
    const bool digits = sql.find_first_not_of("-0123456789() ") == std::string::npos;
    return digits ? sql + "+0" : sql;
}

}  // namespace vantry::sql
