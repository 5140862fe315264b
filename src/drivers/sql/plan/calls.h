#pragma once
// Calls of functions whose arguments are all worked out, and of aggregates. Arguments come
// compiled.

#include "drivers/sql/plan/conversions.h"

#include <span>
#include <string_view>

namespace vantry::sql {

class Calls {
public:
    explicit Calls(const Conversions& conversions) : conversions_(conversions) {}

    // The function that `call` names; throws UndefinedFunction or WrongArguments.
    const FunctionEntry& Find(const Expression& call) const;
    Term Plain(const Expression& call,
               const FunctionEntry& entry,
               std::span<const Term> arguments) const;
    // Of one value; Count(*) is CountRows.
    Term Aggregate(const Expression& call, const Term& value) const;
    static Term CountRows();

private:
    // The argument in the form that the entry asks for.
    std::string Argument(const FunctionEntry& entry, std::size_t position, const Term& term) const;
    Term Sum(const Term& value, std::string_view distinct) const;
    Term Average(const Term& value, std::string_view distinct) const;

    const Conversions& conversions_;
};

bool IsAggregateCall(const Expression& expression);
// Whether one stands anywhere in the expression, subqueries aside.
bool HasAggregate(const Expression& expression);

}  // namespace vantry::sql
