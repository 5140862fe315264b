#include "data/value_convert.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions.h"
#include "drivers/sql/lexer.h"
#include "drivers/sql/statement_compiler.h"

namespace vantry::sql {
namespace {

constexpr std::string_view kAggregateNames[] = {
    "count", "sum", "avg", "min", "max", "first", "last", "stdev", "stdevp", "var", "varp"};

bool IsAny(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::any_of(
        names.begin(), names.end(), [&](auto other) { return SameWord(name, other); });
}

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

// CASE over conditions; each branch is worked out only when its condition holds.
Term StatementCompiler::Choice(const std::vector<std::pair<std::string, Term>>& branches,
                               const Term* otherwise) {
    Term term;
    for (const auto& branch : branches) {
        term.type = CommonType(term.type, branch.second.type);
    }
    if (otherwise != nullptr) {
        term.type = CommonType(term.type, otherwise->type);
    }
    term.sql = "(CASE";
    for (const auto& [condition, value] : branches) {
        term.sql += " WHEN " + condition + " THEN " + AsType(value, term.type);
    }
    if (otherwise != nullptr) {
        term.sql += " ELSE " + AsType(*otherwise, term.type);
    }
    term.sql += " END)";
    return term;
}

// IIf(a, x, IIf(b, y, z)) is one CASE, so that long cascades don't nest.
Term StatementCompiler::Conditional(const Expression& call, Scope& scope) {
    std::vector<std::pair<std::string, Term>> branches;
    const auto* at = &call;
    do {
        if (at->operands.size() != 3) {
            throw WrongArguments(at->text);
        }
        branches.emplace_back(Condition(*at->operands[0], scope), Compile(*at->operands[1], scope));
        at = at->operands[2].get();
    } while (at->kind == Expression::Kind::Call && SameWord(at->name, "iif"));
    const auto otherwise = Compile(*at, scope);
    return Choice(branches, &otherwise);
}

// Functions whose arguments aren't all worked out, or whose type is that of their arguments.
std::optional<Term> StatementCompiler::SpecialCall(const Expression& call, Scope& scope) {
    const auto& name = call.name;
    const auto count = call.operands.size();
    const auto argument = [&](std::size_t k) { return Compile(*call.operands[k], scope); };
    const auto expect = [&](bool fits) {
        if (!fits) {
            throw WrongArguments(call.text);
        }
    };
    const bool fox = dialect_.kind == Dialect::Kind::FoxPro;
    if (SameWord(name, "iif")) {
        return Conditional(call, scope);
    }
    if (SameWord(name, "switch")) {
        expect(count >= 2 && count % 2 == 0);
        std::vector<std::pair<std::string, Term>> branches;
        for (std::size_t k = 0; k < count; k += 2) {
            branches.emplace_back(Condition(*call.operands[k], scope), argument(k + 1));
        }
        return Choice(branches, nullptr);
    }
    if (SameWord(name, "choose")) {
        expect(count >= 2);
        const auto index = Function("+whole", {AsNumber(argument(0))});
        std::vector<std::pair<std::string, Term>> branches;
        for (std::size_t k = 1; k < count; ++k) {
            branches.emplace_back("(" + index + " = " + std::to_string(k) + ")", argument(k));
        }
        return Choice(branches, nullptr);
    }
    if (IsAny(name, {"nz", "nvl"})) {
        expect(count == 2 || (count == 1 && !fox));
        const auto value = argument(0);
        Term otherwise;
        if (count == 2) {
            otherwise = argument(1);
        } else {
            const bool text =
                FamilyOf(value.type) == Family::Text || FamilyOf(value.type) == Family::Unknown;
            otherwise.sql = text ? "''" : "0";
            otherwise.type = text ? TextType(0) : value.type;
        }
        return Choice({{"(" + Value(value) + " IS NOT NULL)", value}}, &otherwise);
    }
    if (SameWord(name, "isnull")) {
        expect(count == 1);
        Term term;
        term.sql = "(" + Value(argument(0)) + " IS NULL)";
        term.type = SimpleType(adBoolean);
        term.logical = true;
        return term;
    }
    if (SameWord(name, "isdate") && count == 1) {
        const auto value = argument(0);
        if (FamilyOf(value.type) != Family::Date) {
            return std::nullopt;
        }
        Term term;
        term.sql = "(" + Value(value) + " IS NOT NULL)";
        term.type = SimpleType(adBoolean);
        term.logical = true;
        return term;
    }
    if (IsAny(name, {"vartype", "typename"})) {
        expect(count == 1);
        const auto value = argument(0);
        const auto [number, word] = VariantType(value.type.code);
        const bool as_number = SameWord(name, "vartype");
        Term term;
        term.sql = "(CASE WHEN " + Value(value) + " IS NULL THEN " + (as_number ? "1" : "'Null'") +
                   " ELSE " + (as_number ? std::to_string(number) : TextLiteral(word)) + " END)";
        term.type = as_number ? SimpleType(adSmallInt) : TextType(0);
        return term;
    }
    if (SameWord(name, "cvar")) {
        expect(count == 1);
        return argument(0);
    }
    if (fox && SameWord(name, "between")) {
        expect(count == 3);
        const auto value = argument(0);
        Term term;
        term.sql = "(" + Comparison(Operator::GreaterOrEqual, value, argument(1)).sql + " AND " +
                   Comparison(Operator::LessOrEqual, value, argument(2)).sql + ")";
        term.type = SimpleType(adBoolean);
        term.logical = true;
        return term;
    }
    if (fox && SameWord(name, "inlist")) {
        expect(count >= 2);
        return InList(call, scope);
    }
    if (fox && IsAny(name, {"max", "min"})) {
        expect(count == 2);
        const auto left = argument(0);
        const auto right = argument(1);
        const auto op = SameWord(name, "max") ? Operator::GreaterOrEqual : Operator::LessOrEqual;
        return Choice({{Comparison(op, left, right).sql, left}}, &right);
    }
    return std::nullopt;
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
