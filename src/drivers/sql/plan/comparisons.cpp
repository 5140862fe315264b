// What may be compared with what, and as which kind. Both sides are brought to one kind first; the
// collation of a text comparison is settled then, because a column brings its own from
// either side and a result has none. Easy to get wrong: SQLite compares a number with a text
// without an error (the number is always less), so a pair that this file lets through unconverted
// gives wrong rows, not a message.

#include "drivers/sql/plan/comparisons.h"

#include "data/letter_case.h"
#include "data/value_text.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/plan/sql_text.h"

namespace vantry::sql {

// They stand side by side in the list of operators.
bool IsComparison(Operator op) {
    return op >= Operator::Equal && op <= Operator::GreaterOrEqual;
}

Term Comparisons::Compare(Operator op, Term left, Term right) const {
    Unify(left, right);
    if (IsWide(left.type) || IsWide(right.type)) {
        return CompareExactly(op, left, right);
    }
    auto left_sql = Conversions::Value(left);
    if (FamilyOf(left.type) == Family::Text || FamilyOf(right.type) == Family::Text) {
        const auto fixed = [](const Term& term) {
            return term.type.code == adWChar || term.type.code == adChar;
        };
        if (fixed(left) || fixed(right)) {
            // Columns of a fixed width are padded with blanks that don't count.
            left_sql += fixed(left) && left.collated ? "" : " COLLATE VYPAD";
        } else if (!left.collated && !right.collated) {
            left_sql += " COLLATE VY";  // a column brings its own, whichever side it is on
        }
    }
    return Truth("(" + left_sql + std::string(Symbol(op)) + Conversions::Value(right) + ")");
}

// As decimals, but with a floating number as doubles. A join of two columns that aren't of one form
// says the same from both sides: then the plain column of either can be searched.
Term Comparisons::CompareExactly(Operator op, const Term& left, const Term& right) const {
    const auto floating = [](const Term& term) {
        return term.literal == nullptr &&
               (term.type.code == adDouble || term.type.code == adSingle);
    };
    const auto plain = [&] {
        return "(" + conversions_.AsNumber(left) + std::string(Symbol(op)) +
               conversions_.AsNumber(right) + ")";
    };
    if (floating(left) || floating(right)) {
        return Truth(plain());
    }
    const auto exact = "(" + conversions_.AsExact(left) + std::string(Symbol(op)) +
                       conversions_.AsExact(right) + ")";
    const bool both = (op == Operator::Equal || op == Operator::ExactlyEqual) && left.column &&
                      right.column && IsWide(left.type) != IsWide(right.type);
    return Truth(both ? "(" + exact + " AND " + plain() + ")" : exact);
}

Term Comparisons::Between(const Term& subject, const Term& least, const Term& most) const {
    return Truth("(" + Compare(Operator::GreaterOrEqual, subject, least).sql + " AND " +
                 Compare(Operator::LessOrEqual, subject, most).sql + ")");
}

// Brings both sides of a comparison to one kind. Text may be given for a date or a number: as a
// literal it must be one, as a parameter or a result it is read when its value is there; a text
// column isn't compared with a number.
void Comparisons::Unify(Term& left, Term& right) const {
    const auto left_family = FamilyOf(left.type);
    const auto right_family = FamilyOf(right.type);
    if (left_family == right_family) {
        return;
    }
    if (left_family == Family::Unknown) {
        return Resolve(left, right);
    }
    if (right_family == Family::Unknown) {
        return Resolve(right, left);
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
    if (left_family == Family::Date || right_family == Family::Date) {
        auto& number = left_family == Family::Date ? right : left;
        number.sql = conversions_.AsDate(number);
        number.type = SimpleType(adDate);
        number.logical = false;
    }
}

// A parameter becomes what it is compared with; Null stays Null.
void Comparisons::Resolve(Term& open, const Term& known) const {
    if (open.dynamic && IsWide(known.type)) {
        open.sql = conversions_.AsExact(open);
        open.type = known.type;
    } else if (open.dynamic) {
        open.sql = conversions_.AsFamily(open, FamilyOf(known.type));
    }
}

void Comparisons::ConvertText(Term& text, Family family) const {
    if (family == Family::Binary || text.column) {
        throw TypeMismatch();
    }
    if (text.literal == nullptr) {
        text.sql = conversions_.AsFamily(text, family);
        text.type = family == Family::Date ? SimpleType(adDate) : SimpleType(adDouble);
        return;
    }
    // Blanks around a number in quotes don't make it another one.
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
    // As a double it would equal its neighbours, too.
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

Term Comparisons::InList(const Term& of, std::vector<Term> items, bool negated) const {
    // Each item may change what the subject is compared as: a text result among dates becomes one.
    auto subject = of;
    bool exact = false;
    for (auto& item : items) {
        if (FamilyOf(of.type) == Family::Text && item.column &&
            FamilyOf(item.type) != Family::Text) {
            throw TypeMismatch();
        }
        auto same = subject;
        Unify(same, item);
        if (same.sql != subject.sql && same.type.code != subject.type.code) {
            subject = same;  // a text result among numbers or dates
        }
        exact = exact || (IsWide(item.type) && item.literal == nullptr);
    }
    // One exact item makes the whole list exact, unless the subject is a floating number.
    exact = (exact && subject.type.code != adDouble && subject.type.code != adSingle) ||
            IsWide(subject.type);
    std::vector<std::string> list;
    list.reserve(items.size());
    for (const auto& item : items) {
        list.push_back(exact               ? conversions_.AsExact(item)
                       : IsWide(item.type) ? conversions_.AsNumber(item)
                                           : Conversions::Value(item));
    }
    auto sql = exact ? conversions_.AsExact(subject) : Conversions::Value(subject);
    if (FamilyOf(subject.type) == Family::Text && !subject.collated) {
        sql += " COLLATE VY";
    }
    return Truth("(" + sql + (negated ? " NOT IN (" : " IN (") + Joined(list) + "))");
}

Term Comparisons::InRows(const Term& subject, const ColumnOfRows& rows, bool negated) const {
    const auto left = FamilyOf(subject.type);
    const auto right = FamilyOf(rows.type);
    // The rows can't be converted one by one: what doesn't fit is refused as a whole.
    const bool known = left != Family::Unknown && right != Family::Unknown;
    if (known && (left == Family::Text) != (right == Family::Text)) {
        throw TypeMismatch();
    }
    auto sql = IsWide(rows.type)      ? conversions_.AsExact(subject)
               : IsWide(subject.type) ? conversions_.AsNumber(subject)
               : subject.dynamic      ? conversions_.AsFamily(subject, right)
                                      : Conversions::Value(subject);
    if (right == Family::Text && !subject.collated) {
        sql += " COLLATE VY";
    }
    return Truth("(" + sql + (negated ? " NOT IN (" : " IN (") + rows.sql + "))");
}

// A comparison with all rows of a query, or with any, is one with the least or the greatest of
// them. What is left to say: with no rows at all it is true of all and of none, and a Null among
// them leaves open what the others don't decide.
Term Comparisons::WithRows(const Expression& expression,
                           const Term& subject,
                           const ColumnOfRows& rows) const {
    const bool all = expression.all;
    const bool equal = expression.op == Operator::Equal || expression.op == Operator::ExactlyEqual;
    // "= Any" and "<> All" are IN and NOT IN, which SQLite has an index for.
    if ((equal && !all) || (expression.op == Operator::NotEqual && all)) {
        return InRows(subject, rows, all);
    }
    const auto from = " FROM (" + rows.sql + "))";
    const auto decided = Extremes(expression, subject, rows);
    const auto open = "(SELECT CASE WHEN count(x0) = count(*) THEN " +
                      std::string(all ? "1" : "0") + " END" + from;
    return Truth("(CASE WHEN EXISTS (SELECT 1" + from + " THEN (" + decided +
                 (all ? " AND " : " OR ") + open + ") ELSE " + (all ? "1" : "0") + " END)");
}

// The comparison with the rows that decide it.
std::string Comparisons::Extremes(const Expression& expression,
                                  const Term& subject,
                                  const ColumnOfRows& rows) const {
    const auto compared = [&](Operator op, std::string_view choice) {
        Term extreme;
        extreme.sql = "(SELECT " + std::string(choice) + "(x0" +
                      (FamilyOf(rows.type) == Family::Text ? " COLLATE VY" : "") + ") FROM (" +
                      rows.sql + "))";
        extreme.type = rows.type;
        return Compare(op, subject, extreme).sql;
    };
    switch (expression.op) {
        case Operator::Greater:
        case Operator::GreaterOrEqual:
            return compared(expression.op, expression.all ? "max" : "min");
        case Operator::Less:
        case Operator::LessOrEqual:
            return compared(expression.op, expression.all ? "min" : "max");
        case Operator::Equal:
        case Operator::ExactlyEqual:  // to all of them: to the least and the greatest
            return "(" + compared(Operator::Equal, "min") + " AND " +
                   compared(Operator::Equal, "max") + ")";
        case Operator::NotEqual:  // to any of them
            return "(" + compared(Operator::NotEqual, "min") + " OR " +
                   compared(Operator::NotEqual, "max") + ")";
        default:
            throw SyntaxErrorInExpression("", expression.text);
    }
}

}  // namespace vantry::sql
