#pragma once
// Comparisons, and what brings their sides to one kind. Operands come compiled, queries written
// out.

#include "drivers/sql/plan/conversions.h"

#include <vector>

namespace vantry::sql {

// One column of a query's rows: the query's SQL, in which the column is named x0.
struct ColumnOfRows {
    std::string sql;
    ValueType type;
};

// The six comparisons and FoxPro's ==.
bool IsComparison(Operator op);

class Comparisons {
public:
    explicit Comparisons(const Conversions& conversions) : conversions_(conversions) {}

    // Throws TypeMismatch where the two can't be compared: a text column with a number, anything
    // with a picture.
    Term Compare(Operator op, Term left, Term right) const;
    Term Between(const Term& subject, const Term& least, const Term& most) const;
    // The items are converted to the subject's kind, or it to theirs.
    Term InList(const Term& subject, std::vector<Term> items, bool negated) const;
    Term InRows(const Term& subject, const ColumnOfRows& rows, bool negated) const;
    // subject op All (rows), or Any; `expression` is for the message.
    Term WithRows(const Expression& expression,
                  const Term& subject,
                  const ColumnOfRows& rows) const;

private:
    // Where a side is in the form of exact_number.h.
    Term CompareExactly(Operator op, const Term& left, const Term& right) const;
    // Converts one side, or both, in place.
    void Unify(Term& left, Term& right) const;
    // A parameter or Null takes on the kind of what it is compared with.
    void Resolve(Term& open, const Term& known) const;
    // A text for a number or a date, in place.
    void ConvertText(Term& text, Family family) const;
    std::string Extremes(const Expression& expression,
                         const Term& subject,
                         const ColumnOfRows& rows) const;

    const Conversions& conversions_;
};

}  // namespace vantry::sql
