// SQLite has most of these operators, but not their types and ranges: its "/" cuts whole numbers,
// its "||" gives Null for a Null, its arithmetic knows neither dates nor decimals of 28 digits. So
// each operator asks for its operands in the form that SQLite takes rightly, or becomes a call of a
// function of ours. Easy to get wrong: SQLite's parser holds no more than a hundred open brackets,
// and users' statements have longer sums, concatenations and conditions. A chain of one operator is
// therefore written into one pair of brackets, or one call, and Term::chain says that it may go on.

#include "drivers/sql/plan/operators.h"

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/plan/sql_text.h"

namespace vantry::sql {
namespace {

// left op right, going on with a chain of the same kind.
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

// The type that an operand takes part with in an arithmetic operation.
ValueType NumberTypeOf(Operator op, const Term& operand, const Term& other) {
    // A short literal with a fraction is a double, beside a decimal another one; currency times it
    // is a double, as division is.
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
}

// Whether + on these two joins texts: beside a number, a text is read as one.
bool JoinsTexts(Family left, Family right) {
    const auto may_be_text = [](Family family) {
        return family == Family::Text || family == Family::Unknown;
    };
    return may_be_text(left) && may_be_text(right) &&
           (left == Family::Text || right == Family::Text);
}

}  // namespace

Term Operators::Unary(const Expression& expression, const Term& operand) const {
    Term term;
    if (expression.op == Operator::Not) {
        if (IsTruth(operand)) {
            return Truth("(NOT " + conversions_.AsCondition(operand) + ")");
        }
        term.sql = "(~" + conversions_.Function("+whole", {conversions_.AsNumber(operand)}) + ")";
        term.type = SimpleType(adInteger);
        return term;
    }
    term.sql = IsWide(operand.type) ? conversions_.Function("+negate", {operand.sql})
                                    : "(-" + conversions_.AsNumber(operand) + ")";
    term.type = FamilyOf(operand.type) == Family::Number ? operand.type
                : IsTruth(operand)                       ? SimpleType(adInteger)
                                                         : SimpleType(adDouble);
    if (operand.literal != nullptr) {
        term.literal = &expression;
    }
    return term;
}

Term Operators::Binary(Operator op, const Term& left, const Term& right) const {
    switch (op) {
        case Operator::And:
        case Operator::Or:
        case Operator::Xor:
        case Operator::Eqv:
        case Operator::Imp:
            return Logic(op, left, right);
        case Operator::Concatenate:
            return Concatenation(left, right);
        case Operator::Divide:
            return OfNumbers("+divide", left, right, adDouble);
        case Operator::IntegerDivide:
            return OfNumbers("+idivide", left, right, adInteger);
        case Operator::Modulo:
            return OfNumbers("+modulo", left, right, adInteger);
        case Operator::Power:
            return OfNumbers("+power", left, right, adDouble);
        case Operator::Contains:
            return Truth(conversions_.Function(
                "+contains", {conversions_.AsText(left), conversions_.AsText(right)}));
        default:
            return Sum(op, left, right);
    }
}

Term Operators::OfNumbers(std::string_view function,
                          const Term& left,
                          const Term& right,
                          int type) const {
    Term term;
    term.sql = conversions_.Function(function,
                                     {conversions_.AsNumber(left), conversions_.AsNumber(right)});
    term.type = SimpleType(type);
    return term;
}

// On truth values as in SQL, on numbers bit by bit.
Term Operators::Logic(Operator op, const Term& left, const Term& right) const {
    if (!IsTruth(left) && !IsTruth(right) && (op == Operator::And || op == Operator::Or)) {
        const auto whole = [this](const Term& operand) {
            return conversions_.Function("+whole", {conversions_.AsNumber(operand)});
        };
        Term term;
        term.sql = "(" + whole(left) + (op == Operator::And ? " & " : " | ") + whole(right) + ")";
        term.type = SimpleType(adInteger);
        return term;
    }
    const auto a = conversions_.AsCondition(left);
    const auto b = conversions_.AsCondition(right);
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

Term Operators::Sum(Operator op, const Term& left, const Term& right) const {
    const auto left_family = FamilyOf(left.type);
    const auto right_family = FamilyOf(right.type);
    if (op == Operator::Add && JoinsTexts(left_family, right_family)) {
        Term term;
        term.sql = "(" + conversions_.AsText(left) + " || " + conversions_.AsText(right) + ")";
        term.type = TextType(left.type.size + right.type.size);
        return term;
    }
    const bool dates = left_family == Family::Date || right_family == Family::Date;
    if (dates && op != Operator::Multiply) {
        return DateSum(op, left, right);
    }
    const bool product = op == Operator::Multiply;
    const auto type =
        ArithmeticType(NumberTypeOf(op, left, right), NumberTypeOf(op, right, left), product);
    if (IsWide(type)) {
        return ExactArithmetic(op, left, right, type);
    }
    // a + b - c is one chain: SQLite works it out from the left, too.
    const auto kind = product ? Operator::Multiply : Operator::Add;
    auto term = Chained(op, kind, left, conversions_.AsNumber(left), conversions_.AsNumber(right));
    term.type = type;
    return term;
}

// A date and a number of days are a date, the difference of two dates is a number of days.
Term Operators::DateSum(Operator op, const Term& left, const Term& right) const {
    const auto days = [this](const Term& operand) {
        return FamilyOf(operand.type) == Family::Date ? operand.sql
                                                      : conversions_.AsNumber(operand);
    };
    const bool difference = op == Operator::Subtract && FamilyOf(left.type) == FamilyOf(right.type);
    Term term;
    term.sql = "(" + days(left) + std::string(Symbol(op)) + days(right) + ")";
    term.type = SimpleType(difference ? adDouble : adDate);
    return term;
}

// Decimals that no double holds: a + b - c is one call of many arguments, each with its sign behind
// it, and so is a * b * c.
Term Operators::ExactArithmetic(Operator op,
                                const Term& left,
                                const Term& right,
                                const ValueType& type) const {
    constexpr std::size_t kMaxOperands = 45;
    const bool product = op == Operator::Multiply;
    const auto kind = product ? Operator::Multiply : Operator::Add;
    const std::string sign = product ? "" : op == Operator::Subtract ? ", -1" : ", 1";
    const auto right_sql = conversions_.AsExact(right) + sign;
    Term term;
    // A chain of SQLite's own + has no length: it isn't a call that could take one more argument.
    if (left.chain == kind && left.chain_length > 0 && left.chain_length < kMaxOperands) {
        term.sql = left.sql.substr(0, left.sql.size() - 1) + ", " + right_sql + ")";
        term.chain_length = left.chain_length + 1;
    } else {
        term.sql =
            conversions_.Function(product ? "+multiply" : "+add",
                                  {conversions_.AsExact(left) + (product ? "" : ", 1"), right_sql});
        term.chain_length = 2;
    }
    term.chain = kind;
    term.type = type;
    return term;
}

// a & b & c is one call of many arguments.
Term Operators::Concatenation(const Term& left, const Term& right) const {
    constexpr std::int64_t kNumberSize = 20;
    constexpr std::size_t kMaxArguments = 90;
    const auto size_of = [](const Term& term) {
        return FamilyOf(term.type) == Family::Text ? term.type.size : kNumberSize;
    };
    const auto right_sql = conversions_.AsText(right);
    Term term;
    if (left.chain == Operator::Concatenate && left.chain_length < kMaxArguments) {
        term.sql = left.sql.substr(0, left.sql.size() - 1) + ", " + right_sql + ")";
        term.chain_length = left.chain_length + 1;
    } else {
        term.sql = conversions_.Function("+concat", {conversions_.AsText(left), right_sql});
        term.chain_length = 2;
    }
    term.chain = Operator::Concatenate;
    const auto size = size_of(left) + size_of(right);
    term.type = TextType(size);
    if (term.type.code == adVarWChar) {
        term.type.size = size;
    }
    return term;
}

}  // namespace vantry::sql
