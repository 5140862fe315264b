#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/plan/statement_compiler.h"
#include "drivers/sql/run/plain_query.h"

#include <cstdio>

namespace vantry::sql {
namespace {

bool IsTruth(const Term& term) {
    const auto family = FamilyOf(term.type);
    return term.logical || family == Family::Boolean || family == Family::Unknown;
}

// left op right, going on with a chain of the same kind without further brackets: SQLite's parser
// holds no more than a hundred open ones.
Term Chained(Operator op,
             Operator kind,
             const Term& left,
             const std::string& left_sql,
             const std::string& right_sql) {
    Term term;
    const bool goes_on = left.chain == kind && left_sql == left.sql;
    term.sql = (goes_on ? left_sql.substr(0, left_sql.size() - 1) : "(" + left_sql) +
               std::string(Symbol(op)) + right_sql + ")";
    term.chain = kind;
    return term;
}

}  // namespace

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
        default:
            return "";
    }
}

Term Truth(std::string sql) {
    Term term;
    term.sql = std::move(sql);
    term.type = SimpleType(adBoolean);
    term.logical = true;
    return term;
}

std::string NumberLiteral(double number) {
    std::array<char, 40> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.17g", number);
    std::string text = buffer.data();
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
        if (quote == 0 && IsSpace(c)) {
            continue;
        }
        if (c == '"' || c == '\'') {
            quote = quote == 0 ? c : quote == c ? '\0' : quote;
        }
        const bool fold = quote == 0 && c >= 'A' && c <= 'Z';
        out += fold ? static_cast<char>(c + 32) : c;
    }
    return out;
}

Term StatementCompiler::Compile(const Expression& expression, Scope& scope) {
    if (++depth_ > kMaxCompileDepth) {
        throw TooComplex();
    }
    auto term = CompileNode(expression, scope);
    --depth_;
    return term;
}

Term StatementCompiler::CompileNode(const Expression& expression, Scope& scope) {
    using Kind = Expression::Kind;
    if (scope.keys != nullptr && !scope.in_aggregate && expression.kind != Kind::Literal &&
        expression.kind != Kind::Column) {
        const auto text = ComparableText(expression.text);
        for (const auto& key : scope.keys->texts) {
            if (key == text) {
                Scope free = scope;
                free.keys = nullptr;
                return CompileNode(expression, free);
            }
        }
    }
    switch (expression.kind) {
        case Kind::Literal:
            return Literal(expression);
        case Kind::Column: {
            auto term = Column(expression, scope);
            Touch(term);
            return term;
        }
        case Kind::Star:
            throw SyntaxErrorInExpression("", expression.text);
        case Kind::Parameter: {
            Term term;
            term.sql = "?" + std::to_string(expression.parameter + 1);
            term.dynamic = true;
            parameter_count_ = std::max(parameter_count_, expression.parameter + 1);
            return term;
        }
        case Kind::Unary:
            return Unary(expression, scope);
        case Kind::Binary:
            return Binary(expression, scope);
        case Kind::Like: {
            const auto subject = AsText(Compile(*expression.operands[0], scope));
            const auto pattern = AsText(Compile(*expression.operands[1], scope));
            const auto sql = Function("+like", {subject, pattern});
            return Truth(expression.negated ? "(NOT " + sql + ")" : sql);
        }
        case Kind::Between: {
            const auto subject = Compile(*expression.operands[0], scope);
            const auto low = Compile(*expression.operands[1], scope);
            const auto high = Compile(*expression.operands[2], scope);
            const auto sql = "(" + Comparison(Operator::GreaterOrEqual, subject, low).sql +
                             " AND " + Comparison(Operator::LessOrEqual, subject, high).sql + ")";
            return Truth(expression.negated ? "(NOT " + sql + ")" : sql);
        }
        case Kind::InList:
            return InList(expression, scope);
        case Kind::InQuery:
            return InQuery(expression, scope);
        case Kind::AllOrAny:
            return Quantified(expression, scope);
        case Kind::IsNull: {
            const auto subject = Compile(*expression.operands[0], scope);
            return Truth("(" + Value(subject) +
                         (expression.negated ? " IS NOT NULL)" : " IS NULL)"));
        }
        case Kind::Exists: {
            auto plan = PlanSubquery(*expression.query, scope);
            const std::vector<bool> none(plan->types.size(), false);
            return Truth("EXISTS (" + Render(*plan, {.columns = &none}).sql + ")");
        }
        case Kind::Subquery:
            return Subquery(expression, scope);
        case Kind::Call:
            return Call(expression, scope);
    }
    throw InvalidStatement();
}

std::string StatementCompiler::Condition(const Expression& expression, Scope& scope) {
    return AsCondition(Compile(expression, scope));
}

Term StatementCompiler::ColumnOf(ScopeTable& table, std::size_t column) {
    Term term;
    term.column = true;
    term.table = &table;
    term.table_column = column;
    if (table.source) {
        const auto& info = sources_[*table.source]->Table().Columns()[column].info;
        term.sql = table.sql_name + ".c" + std::to_string(column);
        term.type = TypeOf(info);
        term.collated = FamilyOf(term.type) == Family::Text;
        term.origin = Origin{*table.source, column, table.sql_name + ".r"};
    } else {
        const auto& inner = table.query->cores[0].items[column].term;
        term.sql = table.sql_name + ".x" + std::to_string(column);
        term.type = table.query->types[column];
        if (inner.origin && table.query->cores.size() == 1) {
            term.origin = inner.origin;
            term.origin->row_id = table.sql_name + ".r" + std::to_string(inner.origin->source);
        }
    }
    return term;
}

std::optional<Term> StatementCompiler::ColumnIn(ScopeTable& table, std::string_view name) {
    if (table.source) {
        const auto column = FindColumn(sources_[*table.source]->Table(), name);
        return column ? std::optional(ColumnOf(table, *column)) : std::nullopt;
    }
    const auto& items = table.query->cores[0].items;
    for (std::size_t k = 0; k < items.size(); ++k) {
        if (SameName(items[k].name, name)) {
            return ColumnOf(table, k);
        }
    }
    return std::nullopt;
}

void StatementCompiler::Touch(const Term& term) {
    if (term.table == nullptr) {
        return;
    }
    if (!term.table->source) {
        term.table->used[term.table_column] = true;
        return;
    }
    auto& columns = sources_[*term.table->source]->read_columns;
    if (std::find(columns.begin(), columns.end(), term.table_column) == columns.end()) {
        columns.push_back(term.table_column);
    }
}

// The column that a name means: of the nearest query that has one, or there the alias of an output.
Term StatementCompiler::Column(const Expression& expression, Scope& scope) {
    for (auto* at = &scope; at != nullptr; at = at->outer) {
        std::optional<Term> found;
        for (auto* table : at->tables) {
            if (!expression.qualifier.empty() &&
                !NamesTable(expression.qualifier, *table->expression)) {
                continue;
            }
            auto term = ColumnIn(*table, expression.name);
            if (term && found && expression.qualifier.empty()) {
                throw AmbiguousColumn(expression.name);
            }
            if (term && !found) {
                found = std::move(term);
            }
        }
        if (found) {
            const auto is_key = [&](const auto& key) {
                return key.first == found->table && key.second == found->table_column;
            };
            if (at->keys != nullptr && !at->in_aggregate &&
                std::none_of(at->keys->columns.begin(), at->keys->columns.end(), is_key)) {
                throw NotInAggregate(expression.text);
            }
            return *found;
        }
        if (at->core == nullptr || !expression.qualifier.empty()) {
            continue;
        }
        for (const auto& item : at->core->items) {
            const bool open = std::find(at->open_aliases.begin(), at->open_aliases.end(), &item) !=
                              at->open_aliases.end();
            if (!open && !item.alias.empty() && SameName(item.alias, expression.name)) {
                at->open_aliases.push_back(&item);
                auto term = Compile(*item.expression, *at);
                at->open_aliases.pop_back();
                return term;
            }
        }
    }
    throw NoSuchColumn(expression.qualifier.empty() ? expression.name
                                                    : expression.qualifier + "." + expression.name);
}

Term StatementCompiler::Literal(const Expression& expression) {
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
            if (const auto decimal = LongDecimal(cell)) {
                term.sql = ExactLiteral(*decimal);
                term.type = DecimalType(decimal->scale);
                break;
            }
            if (cell.Kind() == ValueKind::Int64) {
                term.sql = std::to_string(cell.AsInt64());
                term.type = SimpleType(cell.AsInt64() <= INT32_MAX ? adInteger : adDouble);
                break;
            }
            [[fallthrough]];
        case ValueKind::Double:
            term.sql = NumberLiteral(ToDouble(cell).value_or(0));
            term.type = SimpleType(adDouble);
            break;
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

Term StatementCompiler::Unary(const Expression& expression, Scope& scope) {
    const auto operand = Compile(*expression.operands[0], scope);
    Term term;
    if (expression.op == Operator::Not) {
        if (IsTruth(operand)) {
            return Truth("(NOT " + AsCondition(operand) + ")");
        }
        term.sql = "(~" + Function("+whole", {AsNumber(operand)}) + ")";
        term.type = SimpleType(adInteger);
        return term;
    }
    term.sql =
        IsWide(operand.type) ? Function("+negate", {operand.sql}) : "(-" + AsNumber(operand) + ")";
    term.type = FamilyOf(operand.type) == Family::Number ? operand.type
                : IsTruth(operand)                       ? SimpleType(adInteger)
                                                         : SimpleType(adDouble);
    if (operand.literal != nullptr) {
        term.literal = &expression;
    }
    return term;
}

Term StatementCompiler::Binary(const Expression& expression, Scope& scope) {
    const auto left = Compile(*expression.operands[0], scope);
    const auto right = Compile(*expression.operands[1], scope);
    Term term;
    switch (expression.op) {
        case Operator::And:
        case Operator::Or:
        case Operator::Xor:
        case Operator::Eqv:
        case Operator::Imp:
            return Logic(expression.op, left, right);
        case Operator::Add:
        case Operator::Subtract:
        case Operator::Multiply:
            return Sum(expression.op, left, right);
        case Operator::Concatenate:
            return Concatenation(left, right);
        case Operator::Divide:
            term.sql = Function("+divide", {AsNumber(left), AsNumber(right)});
            term.type = SimpleType(adDouble);
            return term;
        case Operator::IntegerDivide:
            term.sql = Function("+idivide", {AsNumber(left), AsNumber(right)});
            term.type = SimpleType(adInteger);
            return term;
        case Operator::Modulo:
            term.sql = Function("+modulo", {AsNumber(left), AsNumber(right)});
            term.type = SimpleType(adInteger);
            return term;
        case Operator::Power:
            term.sql = Function("+power", {AsNumber(left), AsNumber(right)});
            term.type = SimpleType(adDouble);
            return term;
        case Operator::Contains:
            return Truth(Function("+contains", {AsText(left), AsText(right)}));
        default:
            return Comparison(expression.op, left, right);
    }
}

// On truth values as in SQL, on numbers bit by bit.
Term StatementCompiler::Logic(Operator op, const Term& left, const Term& right) {
    if (!IsTruth(left) && !IsTruth(right) && (op == Operator::And || op == Operator::Or)) {
        Term term;
        term.sql = "(" + Function("+whole", {AsNumber(left)}) +
                   (op == Operator::And ? " & " : " | ") + Function("+whole", {AsNumber(right)}) +
                   ")";
        term.type = SimpleType(adInteger);
        return term;
    }
    const auto a = AsCondition(left);
    const auto b = AsCondition(right);
    switch (op) {
        case Operator::Xor:
            return Truth("((NOT " + a + ") <> (NOT " + b + "))");
        case Operator::Eqv:
            return Truth("((NOT " + a + ") = (NOT " + b + "))");
        case Operator::Imp:
            return Truth("((NOT " + a + ") OR " + b + ")");
        default:
            break;
    }
    auto term = Chained(op, op, left, a, b);
    term.type = SimpleType(adBoolean);
    term.logical = true;
    return term;
}

Term StatementCompiler::Sum(Operator op, const Term& left, const Term& right) {
    const auto left_family = FamilyOf(left.type);
    const auto right_family = FamilyOf(right.type);
    Term term;
    const auto joins = [](Family one, Family other) {
        return one == Family::Text && (other == Family::Text || other == Family::Unknown);
    };
    if (op == Operator::Add &&
        (joins(left_family, right_family) || joins(right_family, left_family))) {
        term.sql = "(" + AsText(left) + " || " + AsText(right) + ")";
        term.type = TextType(left.type.size + right.type.size);
        return term;
    }
    const bool dates = left_family == Family::Date || right_family == Family::Date;
    if (dates && op != Operator::Multiply) {
        const auto days = [this](const Term& operand) {
            return FamilyOf(operand.type) == Family::Date ? operand.sql : AsNumber(operand);
        };
        const bool difference = op == Operator::Subtract && left_family == right_family;
        term.sql = "(" + days(left) + std::string(Symbol(op)) + days(right) + ")";
        term.type = SimpleType(difference ? adDouble : adDate);
        return term;
    }
    const auto number_type = [op](const Term& operand, const Term& other) {
        // A short literal with a fraction is a double, beside a decimal another one; currency times
        // it is a double, as division is.
        const bool literal = operand.literal != nullptr && IsWide(other.type) &&
                             operand.literal->kind == Expression::Kind::Literal &&
                             operand.literal->literal.AsCell().Kind() == ValueKind::Decimal;
        const bool money = other.type.code == adCurrency;
        if (literal && !IsWide(operand.type) && (op != Operator::Multiply || !money)) {
            const int scale = operand.literal->literal.AsCell().AsDecimal().scale;
            return money && scale <= 4 ? other.type : DecimalType(scale);
        }
        const auto family = FamilyOf(operand.type);
        return family == Family::Number || family == Family::Boolean ? operand.type
                                                                     : SimpleType(adDouble);
    };
    const auto type = ArithmeticType(
        number_type(left, right), number_type(right, left), op == Operator::Multiply);
    if (IsWide(type)) {
        return ExactArithmetic(op, left, right, type);
    }
    const auto kind = op == Operator::Multiply ? Operator::Multiply : Operator::Add;
    term = Chained(op, kind, left, AsNumber(left), AsNumber(right));
    term.type = type;
    return term;
}

// a + b - c is one call of many arguments, and so is a * b * c.
Term StatementCompiler::ExactArithmetic(Operator op,
                                        const Term& left,
                                        const Term& right,
                                        const ValueType& type) {
    constexpr std::size_t kMaxOperands = 45;
    const bool product = op == Operator::Multiply;
    const auto kind = product ? Operator::Multiply : Operator::Add;
    const std::string sign = product ? "" : op == Operator::Subtract ? ", -1" : ", 1";
    Term term;
    if (left.chain == kind && left.chain_length > 0 && left.chain_length < kMaxOperands) {
        term.sql = left.sql.substr(0, left.sql.size() - 1) + ", " + AsExact(right) + sign + ")";
        term.chain_length = left.chain_length + 1;
    } else {
        term.sql = Function(product ? "+multiply" : "+add",
                            {AsExact(left) + (product ? "" : ", 1"), AsExact(right) + sign});
        term.chain_length = 2;
    }
    term.chain = kind;
    term.type = type;
    return term;
}

Term StatementCompiler::Concatenation(const Term& left, const Term& right) {
    constexpr std::int64_t kNumberSize = 20;
    const auto size = [](const Term& term) {
        return FamilyOf(term.type) == Family::Text ? term.type.size : kNumberSize;
    };
    // a & b & c is one call of many arguments.
    constexpr std::size_t kMaxArguments = 90;
    Term term;
    const auto right_sql = AsText(right);
    if (left.chain == Operator::Concatenate && left.chain_length < kMaxArguments) {
        term.sql = left.sql.substr(0, left.sql.size() - 1) + ", " + right_sql + ")";
        term.chain_length = left.chain_length + 1;
    } else {
        term.sql = Function("+concat", {AsText(left), right_sql});
        term.chain_length = 2;
    }
    term.chain = Operator::Concatenate;
    term.type = TextType(size(left) + size(right));
    if (term.type.code == adVarWChar) {
        term.type.size = size(left) + size(right);
    }
    return term;
}

// (SELECT ...) as a value: one column, at most one row.
Term StatementCompiler::Subquery(const Expression& expression, Scope& scope) {
    auto plan = PlanOneColumn(expression, scope);
    Term term;
    term.type = plan->types[0];
    const auto inner = Render(*plan, {}).sql;
    const auto& core = plan->cores[0];
    const bool one_row = plan->cores.size() == 1 && core.aggregate && core.group_by.empty();
    term.sql = one_row ? "(" + inner + ")"
                       : "(SELECT " + Function("+only", {"x0"}) + " FROM (" + inner + "))";
    return term;
}

}  // namespace vantry::sql
