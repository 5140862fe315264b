// The walk over the tree. Two things are its own: in a grouped query an expression that is one of
// the groups' keys, as it was written, is taken as a whole and its columns aren't asked for keys of
// their own; and the alias of an output stands for the output's expression, compiled once more
// where it is used, because SQLite knows aliases in fewer places than the dialects do.

#include "drivers/sql/plan/expression_compiler.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/plan/sql_text.h"

#include <algorithm>

namespace vantry::sql {

ExpressionCompiler::ExpressionCompiler(StatementState& state,
                                       const Names& names,
                                       const Conversions& conversions,
                                       SelectWriter& writer,
                                       SubqueryPlanner& subqueries)
    : state_(state),
      names_(names),
      conversions_(conversions),
      writer_(writer),
      subqueries_(subqueries),
      operators_(conversions),
      comparisons_(conversions),
      calls_(conversions),
      special_calls_(conversions, comparisons_) {}

Term ExpressionCompiler::Compile(const Expression& expression, Scope& scope) {
    const CompileLevel level(state_);
    if (scope.keys != nullptr && !scope.in_aggregate &&
        expression.kind != Expression::Kind::Literal &&
        expression.kind != Expression::Kind::Column) {
        const auto text = ComparableText(expression.text);
        const auto& keys = scope.keys->texts;
        if (std::find(keys.begin(), keys.end(), text) != keys.end()) {
            // Within the key anything may stand: "GROUP BY a + b" lets a + b out, not a alone.
            Scope free = scope;
            free.keys = nullptr;
            return CompileNode(expression, free);
        }
    }
    return CompileNode(expression, scope);
}

Term ExpressionCompiler::CompileNode(const Expression& expression, Scope& scope) {
    using Kind = Expression::Kind;
    switch (expression.kind) {
        case Kind::Literal:
            return LiteralTerm(expression);
        case Kind::Column: {
            auto term = Column(expression, scope);
            names_.Touch(term);
            return term;
        }
        case Kind::Star:
            throw SyntaxErrorInExpression("", expression.text);
        case Kind::Parameter:
            return Parameter(expression);
        case Kind::Unary:
            return operators_.Unary(expression, Operand(expression, 0, scope));
        case Kind::Binary:
            return Binary(expression, scope);
        case Kind::Like:
            return Like(expression, scope);
        case Kind::Between:
            return Between(expression, scope);
        case Kind::InList:
            return InList(expression, scope);
        case Kind::InQuery: {
            const auto subject = Operand(expression, 0, scope);
            return comparisons_.InRows(subject, RowsOf(expression, scope), expression.negated);
        }
        case Kind::AllOrAny: {
            const auto subject = Operand(expression, 0, scope);
            return comparisons_.WithRows(expression, subject, RowsOf(expression, scope));
        }
        case Kind::IsNull:
            return Truth("(" + Conversions::Value(Operand(expression, 0, scope)) +
                         (expression.negated ? " IS NOT NULL)" : " IS NULL)"));
        case Kind::Exists:
            return Exists(expression, scope);
        case Kind::Subquery:
            return Subquery(expression, scope);
        case Kind::Call:
            return Call(expression, scope);
    }
    throw InvalidStatement();
}

std::string ExpressionCompiler::Condition(const Expression& expression, Scope& scope) {
    return conversions_.AsCondition(Compile(expression, scope));
}

Term ExpressionCompiler::Operand(const Expression& expression, std::size_t position, Scope& scope) {
    return Compile(*expression.operands[position], scope);
}

Term ExpressionCompiler::Column(const Expression& expression, Scope& scope) {
    const auto meaning = names_.Find(expression, scope);
    if (const auto* column = std::get_if<Term>(&meaning)) {
        return *column;
    }
    // While it is compiled its own name means a column again, or it would be compiled for ever.
    const auto& alias = std::get<AliasUse>(meaning);
    alias.scope->open_aliases.push_back(alias.item);
    auto term = Compile(*alias.item->expression, *alias.scope);
    alias.scope->open_aliases.pop_back();
    return term;
}

// Written so that SQLite reads back exactly this value, whatever its own rules for literals are.
Term LiteralTerm(const Expression& expression) {
    Term term;
    term.literal = &expression;
    const auto& cell = expression.literal.AsCell();
    switch (cell.Kind()) {
        case ValueKind::Boolean:
            term.sql = cell.AsBoolean() ? "(-1)" : "0";
            term.type = SimpleType(adBoolean);
            break;
        case ValueKind::Int64:
        case ValueKind::Decimal:
            // More digits than a double holds: an exact one, whether it has a point or not.
            if (const auto decimal = LongDecimal(cell)) {
                term.sql = ExactLiteral(*decimal);
                term.type = DecimalType(decimal->scale);
                break;
            }
            if (cell.Kind() == ValueKind::Int64) {
                term.sql = std::to_string(cell.AsInt64());
                // Larger whole numbers are doubles to these engines.
                term.type = SimpleType(cell.AsInt64() <= INT32_MAX ? adInteger : adDouble);
                break;
            }
            [[fallthrough]];
        case ValueKind::Double:
            term.sql = NumberLiteral(ToDouble(cell).value_or(0));
            term.type = SimpleType(adDouble);
            break;
        // Dates are numbers inside; with all 17 digits no second is lost.
        case ValueKind::DateTime:
            term.sql = NumberLiteral(LinearDays(cell.AsDateTime()));
            term.type = SimpleType(adDate);
            break;
        case ValueKind::Text:
            term.sql = TextLiteral(cell.AsText());
            term.type = TextType(static_cast<std::int64_t>(CountUtf16Units(cell.AsText())));
            if (term.type.code == adVarWChar) {
                term.type.size = static_cast<std::int64_t>(CountUtf16Units(cell.AsText()));
            }
            break;
        default:
            term.sql = "NULL";
            break;
    }
    return term;
}

Term ExpressionCompiler::Parameter(const Expression& expression) {
    Term term;
    term.sql = "?" + std::to_string(expression.parameter + 1);
    term.dynamic = true;
    // Parameters are counted over all parts of the statement.
    state_.parameter_count = std::max(state_.parameter_count, expression.parameter + 1);
    return term;
}

Term ExpressionCompiler::Binary(const Expression& expression, Scope& scope) {
    const auto left = Operand(expression, 0, scope);
    const auto right = Operand(expression, 1, scope);
    return IsComparison(expression.op) ? comparisons_.Compare(expression.op, left, right)
                                       : operators_.Binary(expression.op, left, right);
}

Term ExpressionCompiler::Like(const Expression& expression, Scope& scope) {
    const auto subject = conversions_.AsText(Operand(expression, 0, scope));
    const auto pattern = conversions_.AsText(Operand(expression, 1, scope));
    const auto sql = conversions_.Function("+like", {subject, pattern});
    return Truth(expression.negated ? "(NOT " + sql + ")" : sql);
}

Term ExpressionCompiler::Between(const Expression& expression, Scope& scope) {
    const auto subject = Operand(expression, 0, scope);
    const auto least = Operand(expression, 1, scope);
    const auto most = Operand(expression, 2, scope);
    auto term = comparisons_.Between(subject, least, most);
    return expression.negated ? Truth("(NOT " + term.sql + ")") : term;
}

Term ExpressionCompiler::InList(const Expression& expression, Scope& scope) {
    const auto subject = Operand(expression, 0, scope);
    std::vector<Term> items;
    for (std::size_t k = 1; k < expression.operands.size(); ++k) {
        items.push_back(Operand(expression, k, scope));
    }
    return comparisons_.InList(subject, std::move(items), expression.negated);
}

std::unique_ptr<SelectPlan> ExpressionCompiler::PlanOneColumn(const Expression& expression,
                                                              Scope& scope) {
    auto plan = subqueries_.PlanSubquery(*expression.query, scope);
    if (plan->types.size() != 1) {
        throw SyntaxErrorInExpression(" (one field is wanted of a subquery)", expression.text);
    }
    return plan;
}

ColumnOfRows ExpressionCompiler::RowsOf(const Expression& expression, Scope& scope) {
    auto plan = PlanOneColumn(expression, scope);
    return {writer_.Write(*plan, {}).sql, plan->types[0]};
}

Term ExpressionCompiler::Exists(const Expression& expression, Scope& scope) {
    auto plan = subqueries_.PlanSubquery(*expression.query, scope);
    // Whether there is a row is asked, not what it holds: no column is read.
    const std::vector<bool> none(plan->types.size(), false);
    return Truth("EXISTS (" + writer_.Write(*plan, {.columns = &none}).sql + ")");
}

// (SELECT ...) as a value: one column, at most one row. SQLite would take the first of several
// rows; "+only" refuses them.
Term ExpressionCompiler::Subquery(const Expression& expression, Scope& scope) {
    auto plan = PlanOneColumn(expression, scope);
    Term term;
    term.type = plan->types[0];
    const auto inner = writer_.Write(*plan, {}).sql;
    const auto& core = plan->cores[0];
    const bool one_row = plan->cores.size() == 1 && core.aggregate && core.group_by.empty();
    term.sql = one_row
                   ? "(" + inner + ")"
                   : "(SELECT " + conversions_.Function("+only", {"x0"}) + " FROM (" + inner + "))";
    return term;
}

Term ExpressionCompiler::Call(const Expression& call, Scope& scope) {
    if (IsAggregateCall(call)) {
        return Aggregate(call, scope);
    }
    const FunctionEntry* function = nullptr;
    // Wrong numbers of arguments are refused before the arguments' own mistakes.
    auto arguments = special_calls_.Arguments(call);
    const bool special = arguments.has_value();
    if (!special) {
        function = &calls_.Find(call);
        arguments.emplace();
        for (const auto& operand : call.operands) {
            arguments->push_back(operand.get());
        }
    }
    std::vector<Term> terms;
    for (const auto* argument : *arguments) {
        terms.push_back(Compile(*argument, scope));
    }
    if (special) {
        // IsDate of a text, for one, is a function after all; its arguments aren't compiled twice,
        // or calls within calls would take twice as long at each level.
        if (auto term = special_calls_.Make(call, terms)) {
            return *std::move(term);
        }
        function = &calls_.Find(call);
    }
    return calls_.Plain(call, *function, terms);
}

Term ExpressionCompiler::Aggregate(const Expression& call, Scope& scope) {
    if (!scope.allows_aggregates || scope.in_aggregate) {
        throw MisplacedAggregate(call.text);
    }
    const auto& operand = *call.operands[0];
    if (operand.kind == Expression::Kind::Star) {
        if (!EqualsNoCase(call.name, "count")) {
            throw WrongArguments(call.text);
        }
        return Calls::CountRows();
    }
    state_.keeps_values = true;
    // Within it the columns of the rows may stand, outside only those that are grouped by.
    scope.in_aggregate = true;
    const auto value = Compile(operand, scope);
    scope.in_aggregate = false;
    return calls_.Aggregate(call, value);
}

}  // namespace vantry::sql
