#pragma once
// Calls that are written out in SQL: not all of their arguments are worked out for each row, or
// their type is that of their arguments. Arguments come compiled.

#include "drivers/sql/plan/comparisons.h"

#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace vantry::sql {

class SpecialCalls {
public:
    SpecialCalls(const Conversions& conversions, const Comparisons& comparisons)
        : conversions_(conversions), comparisons_(comparisons) {}

    // The arguments to compile, in their order; nothing if the call is none of these. Of IIf in
    // IIf they are those of the whole cascade. Throws WrongArguments.
    std::optional<std::vector<const Expression*>> Arguments(const Expression& call) const;
    // Nothing: for these arguments the function of that name is to be called.
    std::optional<Term> Make(const Expression& call, std::span<const Term> arguments) const;

private:
    using Branches = std::vector<std::pair<std::string, Term>>;  // condition and value
    struct Entry;
    // Of this dialect; null if there is none.
    const Entry* Find(std::string_view name) const;

    // One function a call, or a few that are alike.
    std::optional<Term> FirstTrue(std::span<const Term> arguments) const;
    std::optional<Term> ChosenByNumber(std::span<const Term> arguments) const;
    std::optional<Term> ValueOrElse(std::span<const Term> arguments) const;
    std::optional<Term> NullTest(std::span<const Term> arguments) const;
    std::optional<Term> DateTest(std::span<const Term> arguments) const;
    std::optional<Term> TypeNumber(std::span<const Term> arguments) const;
    std::optional<Term> TypeWord(std::span<const Term> arguments) const;
    std::optional<Term> Unchanged(std::span<const Term> arguments) const;
    std::optional<Term> Between(std::span<const Term> arguments) const;
    std::optional<Term> InList(std::span<const Term> arguments) const;
    std::optional<Term> LargerOfTwo(std::span<const Term> arguments) const;
    std::optional<Term> SmallerOfTwo(std::span<const Term> arguments) const;
    Term BetterOfTwo(Operator op, std::span<const Term> arguments) const;
    // A CASE whose branches have one type. Without `otherwise` it is Null where no condition holds.
    Term Choice(const Branches& branches, const Term* otherwise) const;

    const Conversions& conversions_;
    const Comparisons& comparisons_;
};

}  // namespace vantry::sql
