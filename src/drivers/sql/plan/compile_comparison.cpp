// Comparisons, IN, and what brings their sides to one kind.

#include "data/letter_case.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/plan/statement_compiler.h"

namespace vantry::sql {

Term StatementCompiler::Comparison(Operator op, Term left, Term right) {
    Unify(left, right);
    if (IsWide(left.type) || IsWide(right.type)) {
        return ExactComparison(op, left, right);
    }
    auto left_sql = Value(left);
    if (FamilyOf(left.type) == Family::Text || FamilyOf(right.type) == Family::Text) {
        const auto fixed = [](const Term& term) {
            return term.type.code == adWChar || term.type.code == adChar;
        };
        if (fixed(left) || fixed(right)) {
            left_sql += fixed(left) && left.collated ? "" : " COLLATE VYPAD";
        } else if (!left.collated && !right.collated) {
            left_sql += " COLLATE VY";  // a column brings its own, whichever side it is on
        }
    }
    return Truth("(" + left_sql + std::string(Symbol(op)) + Value(right) + ")");
}

// As decimals, but with a floating number as doubles. A join of two columns that aren't of one form
// says the same from both sides: then the plain column of either can be searched.
Term StatementCompiler::ExactComparison(Operator op, const Term& left, const Term& right) {
    const auto floating = [](const Term& term) {
        return term.literal == nullptr &&
               (term.type.code == adDouble || term.type.code == adSingle);
    };
    const auto plain = [&] {
        return "(" + AsNumber(left) + std::string(Symbol(op)) + AsNumber(right) + ")";
    };
    if (floating(left) || floating(right)) {
        return Truth(plain());
    }
    const auto exact = "(" + AsExact(left) + std::string(Symbol(op)) + AsExact(right) + ")";
    const bool both = (op == Operator::Equal || op == Operator::ExactlyEqual) && left.column &&
                      right.column && IsWide(left.type) != IsWide(right.type);
    return Truth(both ? "(" + exact + " AND " + plain() + ")" : exact);
}

// Brings both sides of a comparison to one kind. Text may be given for a date or a number: as a
// literal it must be one, as a parameter or a result it is read when its value is there; a text
// column isn't compared with a number.
void StatementCompiler::Unify(Term& left, Term& right) {
    const auto left_family = FamilyOf(left.type);
    const auto right_family = FamilyOf(right.type);
    if (left_family == right_family) {
        return;
    }
    if (left_family == Family::Unknown || right_family == Family::Unknown) {
        auto& open = left_family == Family::Unknown ? left : right;
        const auto family = left_family == Family::Unknown ? right_family : left_family;
        const auto type = left_family == Family::Unknown ? right.type : left.type;
        if (open.dynamic && IsWide(type)) {
            open.sql = AsExact(open);
            open.type = type;
        } else if (open.dynamic) {
            open.sql = AsFamily(open, family);
        }
        return;
    }
    if (left_family == Family::Text) {
        return ConvertText(left, right_family);
    }
    if (right_family == Family::Text) {
        return ConvertText(right, left_family);
    }
    if (left_family == Family::Binary || right_family == Family::Binary) {
        throw TypeMismatch();
    }
    if (left_family == Family::Date) {
        right.sql = AsDate(right);
        right.type = SimpleType(adDate);
        right.logical = false;
    } else if (right_family == Family::Date) {
        left.sql = AsDate(left);
        left.type = SimpleType(adDate);
        left.logical = false;
    }
}

void StatementCompiler::ConvertText(Term& text, Family family) {
    if (family == Family::Binary || text.column) {
        throw TypeMismatch();
    }
    if (text.literal == nullptr) {
        text.sql = AsFamily(text, family);
        text.type = family == Family::Date ? SimpleType(adDate) : SimpleType(adDouble);
        return;
    }
    const auto words = Trimmed(text.literal->literal.AsCell().AsText());
    if (family == Family::Date) {
        const auto date = ParseDateTime(words);
        if (!date) {
            throw TypeMismatch(words, "a date");
        }
        text.sql = NumberLiteral(LinearDays(*date));
        text.type = SimpleType(adDate);
        return;
    }
    const auto truth = family == Family::Boolean ? ParseBoolean(words) : std::nullopt;
    const auto decimal = ParseDecimal(words);
    const auto long_decimal =
        decimal ? LongDecimal(Cell::FromDecimal(*decimal)) : std::optional<Decimal>();
    if (long_decimal) {
        text.sql = ExactLiteral(*long_decimal);
        text.type = DecimalType(long_decimal->scale);
        return;
    }
    if (const auto whole = ParseInt64(words)) {
        text.sql = "(" + std::to_string(*whole) + ")";
    } else if (const auto number = ParseDouble(words)) {
        text.sql = "(" + NumberLiteral(*number) + ")";
    } else if (truth) {
        text.sql = *truth ? "(-1)" : "0";
    } else {
        throw TypeMismatch(words, "a number");
    }
    text.type = SimpleType(adDouble);
}

Term StatementCompiler::InList(const Expression& expression, Scope& scope) {
    auto subject = Compile(*expression.operands[0], scope);
    const auto family = FamilyOf(subject.type);
    std::vector<Term> items;
    bool exact = false;
    for (std::size_t k = 1; k < expression.operands.size(); ++k) {
        auto item = Compile(*expression.operands[k], scope);
        if (family == Family::Text && item.column && FamilyOf(item.type) != Family::Text) {
            throw TypeMismatch();
        }
        auto same = subject;
        Unify(same, item);
        if (same.sql != subject.sql && same.type.code != subject.type.code) {
            subject = same;  // a text result among numbers or dates
        }
        exact = exact || (IsWide(item.type) && item.literal == nullptr);
        items.push_back(std::move(item));
    }
    exact = (exact && subject.type.code != adDouble && subject.type.code != adSingle) ||
            IsWide(subject.type);
    std::string list;
    for (const auto& item : items) {
        list += (list.empty() ? "" : ", ") + (exact               ? AsExact(item)
                                              : IsWide(item.type) ? AsNumber(item)
                                                                  : Value(item));
    }
    auto sql = exact ? AsExact(subject) : Value(subject);
    if (FamilyOf(subject.type) == Family::Text && !subject.collated) {
        sql += " COLLATE VY";
    }
    return Truth("(" + sql + (expression.negated ? " NOT IN (" : " IN (") + list + "))");
}

std::unique_ptr<SelectPlan> StatementCompiler::PlanOneColumn(const Expression& expression,
                                                             Scope& scope) {
    auto plan = PlanSubquery(*expression.query, scope);
    if (plan->types.size() != 1) {
        throw SyntaxErrorInExpression(" (one field is wanted of a subquery)", expression.text);
    }
    return plan;
}

Term StatementCompiler::InQuery(const Expression& expression, Scope& scope) {
    const auto subject = Compile(*expression.operands[0], scope);
    auto plan = PlanOneColumn(expression, scope);
    return Member(subject, *plan, expression.negated);
}

Term StatementCompiler::Member(const Term& subject, SelectPlan& plan, bool negated) {
    const auto left = FamilyOf(subject.type);
    const auto right = FamilyOf(plan.types[0]);
    const bool known = left != Family::Unknown && right != Family::Unknown;
    if (known && (left == Family::Text) != (right == Family::Text)) {
        throw TypeMismatch();
    }
    auto sql = IsWide(plan.types[0])  ? AsExact(subject)
               : IsWide(subject.type) ? AsNumber(subject)
               : subject.dynamic      ? AsFamily(subject, right)
                                      : Value(subject);
    if (right == Family::Text && !subject.collated) {
        sql += " COLLATE VY";
    }
    return Truth("(" + sql + (negated ? " NOT IN (" : " IN (") + Render(plan, {}).sql + "))");
}

// A comparison with all rows of a query, or with any, is one with the least or the greatest of
// them. What is left to say: with no rows at all it is true of all and of none, and a Null among
// them leaves open what the others don't decide.
Term StatementCompiler::Quantified(const Expression& expression, Scope& scope) {
    const auto subject = Compile(*expression.operands[0], scope);
    auto plan = PlanOneColumn(expression, scope);
    const auto rows = " FROM (" + Render(*plan, {}).sql + "))";
    const std::string value =
        FamilyOf(plan->types[0]) == Family::Text ? "x0 COLLATE VY" : std::string("x0");
    const auto compared = [&](Operator op, std::string_view choice) {
        Term extreme;
        extreme.sql = "(SELECT " + std::string(choice) + "(" + value + ")" + rows;
        extreme.type = plan->types[0];
        return Comparison(op, subject, extreme).sql;
    };
    const bool all = expression.all;
    std::string decided;
    switch (expression.op) {
        case Operator::Greater:
        case Operator::GreaterOrEqual:
            decided = compared(expression.op, all ? "max" : "min");
            break;
        case Operator::Less:
        case Operator::LessOrEqual:
            decided = compared(expression.op, all ? "min" : "max");
            break;
        case Operator::Equal:
        case Operator::ExactlyEqual:
        case Operator::NotEqual: {
            // Equal to all: to the least and the greatest. Equal to any: one of them.
            const bool same = expression.op != Operator::NotEqual;
            if (same != all) {
                return Member(subject, *plan, all);
            }
            decided = same ? "(" + compared(Operator::Equal, "min") + " AND " +
                                 compared(Operator::Equal, "max") + ")"
                           : "(" + compared(Operator::NotEqual, "min") + " OR " +
                                 compared(Operator::NotEqual, "max") + ")";
            break;
        }
        default:
            throw SyntaxErrorInExpression("", expression.text);
    }
    const auto open = "(SELECT CASE WHEN count(x0) = count(*) THEN " +
                      std::string(all ? "1" : "0") + " END" + rows;
    return Truth("(CASE WHEN EXISTS (SELECT 1" + rows + " THEN (" + decided +
                 (all ? " AND " : " OR ") + open + ") ELSE " + (all ? "1" : "0") + " END)");
}

}  // namespace vantry::sql
