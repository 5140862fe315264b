// Calls that are no functions of the query processor: not all of their arguments are worked out, or
// their type is that of their arguments.

#include "drivers/sql/errors.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/plan/statement_compiler.h"

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

struct StatementCompiler::SpecialFunction {
    std::string_view name;
    std::size_t least;  // arguments
    std::size_t most;
    std::optional<Term> (StatementCompiler::*compile)(const Expression& call, Scope& scope);
    std::optional<Dialect::Kind> dialect = {};  // none: of every one
};

std::optional<Term> StatementCompiler::SpecialCall(const Expression& call, Scope& scope) {
    using enum Dialect::Kind;
    static constexpr SpecialFunction kFunctions[] = {
        {"iif", 3, 3, &StatementCompiler::Conditional},
        {"switch", 2, kAnyCount, &StatementCompiler::FirstTrue},
        {"choose", 2, kAnyCount, &StatementCompiler::ChosenByNumber},
        {"nz", 1, 2, &StatementCompiler::ValueOrElse, Jet},
        {"nz", 2, 2, &StatementCompiler::ValueOrElse, FoxPro},
        {"nvl", 1, 2, &StatementCompiler::ValueOrElse, Jet},
        {"nvl", 2, 2, &StatementCompiler::ValueOrElse, FoxPro},
        {"isnull", 1, 1, &StatementCompiler::NullTest},
        {"isdate", 1, 1, &StatementCompiler::DateTest},
        {"vartype", 1, 1, &StatementCompiler::TypeNumber},
        {"typename", 1, 1, &StatementCompiler::TypeWord},
        {"cvar", 1, 1, &StatementCompiler::Unchanged},
        {"between", 3, 3, &StatementCompiler::BetweenCall, FoxPro},
        {"inlist", 2, kAnyCount, &StatementCompiler::InListCall, FoxPro},
        {"max", 2, 2, &StatementCompiler::LargerOfTwo, FoxPro},
        {"min", 2, 2, &StatementCompiler::SmallerOfTwo, FoxPro},
    };
    for (const auto& function : kFunctions) {
        if (SameWord(call.name, function.name) &&
            function.dialect.value_or(dialect_.kind) == dialect_.kind) {
            if (call.operands.size() < function.least || call.operands.size() > function.most) {
                throw WrongArguments(call.text);
            }
            return (this->*function.compile)(call, scope);
        }
    }
    return std::nullopt;
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
std::optional<Term> StatementCompiler::Conditional(const Expression& call, Scope& scope) {
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

std::optional<Term> StatementCompiler::FirstTrue(const Expression& call, Scope& scope) {
    const auto count = call.operands.size();
    if (count % 2 != 0) {
        throw WrongArguments(call.text);
    }
    std::vector<std::pair<std::string, Term>> branches;
    for (std::size_t k = 0; k < count; k += 2) {
        branches.emplace_back(Condition(*call.operands[k], scope),
                              Compile(*call.operands[k + 1], scope));
    }
    return Choice(branches, nullptr);
}

std::optional<Term> StatementCompiler::ChosenByNumber(const Expression& call, Scope& scope) {
    const auto index = Function("+whole", {AsNumber(Compile(*call.operands[0], scope))});
    std::vector<std::pair<std::string, Term>> branches;
    for (std::size_t k = 1; k < call.operands.size(); ++k) {
        branches.emplace_back("(" + index + " = " + std::to_string(k) + ")",
                              Compile(*call.operands[k], scope));
    }
    return Choice(branches, nullptr);
}

std::optional<Term> StatementCompiler::ValueOrElse(const Expression& call, Scope& scope) {
    const auto value = Compile(*call.operands[0], scope);
    Term otherwise;
    if (call.operands.size() == 2) {
        otherwise = Compile(*call.operands[1], scope);
    } else {
        const bool text =
            FamilyOf(value.type) == Family::Text || FamilyOf(value.type) == Family::Unknown;
        otherwise.sql = text ? "''" : "0";
        otherwise.type = text ? TextType(0) : value.type;
    }
    return Choice({{"(" + Value(value) + " IS NOT NULL)", value}}, &otherwise);
}

std::optional<Term> StatementCompiler::NullTest(const Expression& call, Scope& scope) {
    return Truth("(" + Value(Compile(*call.operands[0], scope)) + " IS NULL)");
}

// A text is looked at by the function of that name.
std::optional<Term> StatementCompiler::DateTest(const Expression& call, Scope& scope) {
    const auto value = Compile(*call.operands[0], scope);
    if (FamilyOf(value.type) != Family::Date) {
        return std::nullopt;
    }
    return Truth("(" + Value(value) + " IS NOT NULL)");
}

std::optional<Term> StatementCompiler::TypeNumber(const Expression& call, Scope& scope) {
    const auto value = Compile(*call.operands[0], scope);
    Term term;
    term.sql = "(CASE WHEN " + Value(value) + " IS NULL THEN 1 ELSE " +
               std::to_string(VariantType(value.type.code).first) + " END)";
    term.type = SimpleType(adSmallInt);
    return term;
}

std::optional<Term> StatementCompiler::TypeWord(const Expression& call, Scope& scope) {
    const auto value = Compile(*call.operands[0], scope);
    Term term;
    term.sql = "(CASE WHEN " + Value(value) + " IS NULL THEN 'Null' ELSE " +
               TextLiteral(VariantType(value.type.code).second) + " END)";
    term.type = TextType(0);
    return term;
}

std::optional<Term> StatementCompiler::Unchanged(const Expression& call, Scope& scope) {
    return Compile(*call.operands[0], scope);
}

std::optional<Term> StatementCompiler::BetweenCall(const Expression& call, Scope& scope) {
    const auto value = Compile(*call.operands[0], scope);
    const auto least = Compile(*call.operands[1], scope);
    const auto most = Compile(*call.operands[2], scope);
    return Truth("(" + Comparison(Operator::GreaterOrEqual, value, least).sql + " AND " +
                 Comparison(Operator::LessOrEqual, value, most).sql + ")");
}

std::optional<Term> StatementCompiler::InListCall(const Expression& call, Scope& scope) {
    return InList(call, scope);
}

std::optional<Term> StatementCompiler::LargerOfTwo(const Expression& call, Scope& scope) {
    return BetterOfTwo(Operator::GreaterOrEqual, call, scope);
}

std::optional<Term> StatementCompiler::SmallerOfTwo(const Expression& call, Scope& scope) {
    return BetterOfTwo(Operator::LessOrEqual, call, scope);
}

Term StatementCompiler::BetterOfTwo(Operator op, const Expression& call, Scope& scope) {
    const auto left = Compile(*call.operands[0], scope);
    const auto right = Compile(*call.operands[1], scope);
    return Choice({{Comparison(op, left, right).sql, left}}, &right);
}

}  // namespace vantry::sql
