#pragma once
// Brings a compiled expression into the form that the place where it stands asks for. Each As...
// gives SQL; what can't be converted at all is refused with TypeMismatch, what depends on the value
// is left to a function that reads it when it is there.

#include "drivers/sql/plan/statement_state.h"
#include "drivers/sql/plan/term.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace vantry::sql {

class Conversions {
public:
    explicit Conversions(StatementState& state) : state_(state) {}

    // As a result shows it: True is -1.
    static std::string Value(const Term& term);
    // As WHERE and CASE WHEN take it.
    std::string AsCondition(const Term& term) const;
    std::string AsText(const Term& term) const;
    std::string AsNumber(const Term& term) const;  // never in the form of exact_number.h
    std::string AsExact(const Term& term) const;   // always in that form
    // As linear days.
    std::string AsDate(const Term& term) const;
    // What family a place asks for, or what type its neighbours have.
    std::string AsFamily(const Term& term, Family family) const;
    std::string AsType(const Term& term, const ValueType& type) const;
    // The value of a key for sorting and grouping, with its collation.
    static std::string AsKey(const Term& term);

    // The call of one of our own functions or operators ("+concat"), which the session is given.
    std::string Function(std::string_view name, std::initializer_list<std::string> arguments) const;
    std::string Function(const FunctionEntry& entry, std::string_view arguments) const;
    Dialect::Kind DialectKind() const { return state_.dialect.kind; }

private:
    StatementState& state_;
};

}  // namespace vantry::sql
