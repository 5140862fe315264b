#pragma once
// The operators that make a value of values: arithmetic, text, logic. Comparisons are in
// comparisons.h. Operands come compiled; nothing here knows where they are from.

#include "drivers/sql/plan/conversions.h"

namespace vantry::sql {

class Operators {
public:
    explicit Operators(const Conversions& conversions) : conversions_(conversions) {}

    // Not and the minus sign of `expression`.
    Term Unary(const Expression& expression, const Term& operand) const;
    // Any binary operator that is no comparison.
    Term Binary(Operator op, const Term& left, const Term& right) const;

private:
    Term Logic(Operator op, const Term& left, const Term& right) const;
    // + - and *.
    Term Sum(Operator op, const Term& left, const Term& right) const;
    Term DateSum(Operator op, const Term& left, const Term& right) const;
    Term ExactArithmetic(Operator op,
                         const Term& left,
                         const Term& right,
                         const ValueType& type) const;
    Term Concatenation(const Term& left, const Term& right) const;
    // A function of two numbers.
    Term OfNumbers(std::string_view function, const Term& left, const Term& right, int type) const;

    const Conversions& conversions_;
};

}  // namespace vantry::sql
