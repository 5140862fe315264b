// A value inside SQLite is text, a number, or a blob; only its type says whether a number is a
// date, a truth, or a decimal written as a blob. Every conversion therefore goes by the type that
// the compiler worked out, and by a function of ours wherever SQLite's own conversion would be too
// kind: its number of "12abc" is 12, its text of 1E20 has a point and a zero. What is NULL in the
// statement itself is left alone: no function needs to be called to find out that it stays Null.

#include "drivers/sql/plan/conversions.h"

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/functions/functions.h"

namespace vantry::sql {

std::string Conversions::Function(std::string_view name,
                                  std::initializer_list<std::string> arguments) const {
    std::string list;
    for (const auto& argument : arguments) {
        list += (list.empty() ? "" : ", ") + argument;
    }
    return Function(*FindFunction(name, state_.dialect.kind), list);
}

std::string Conversions::Function(const FunctionEntry& entry, std::string_view arguments) const {
    state_.functions.insert(&entry);
    return SqlName(entry) + "(" + std::string(arguments) + ")";
}

// SQLite's conditions are 0 and 1, a result's True is -1.
std::string Conversions::Value(const Term& term) {
    return term.logical ? "(-" + term.sql + ")" : term.sql;
}

std::string Conversions::AsCondition(const Term& term) const {
    switch (FamilyOf(term.type)) {
        case Family::Text:
        case Family::Binary:
            throw TypeMismatch();
        // A parameter may be a text: "0" would be true to SQLite.
        case Family::Unknown:
            return term.dynamic ? Function("+number", {term.sql}) : term.sql;
        default:
            return IsWide(term.type) ? AsNumber(term) : term.sql;
    }
}

std::string Conversions::AsText(const Term& term) const {
    switch (FamilyOf(term.type)) {
        case Family::Text:
            return term.sql;
        case Family::Date:
            return Function("+datetext", {term.sql});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL"  ? term.sql
                   : IsWide(term.type) ? Function("+exacttext", {term.sql})
                                       : Function("+text", {Value(term)});
    }
}

std::string Conversions::AsNumber(const Term& term) const {
    switch (FamilyOf(term.type)) {
        case Family::Number:
        case Family::Boolean:
            return IsWide(term.type) ? Function("+plain", {term.sql}) : Value(term);
        // Inside SQLite, dates before 1899-12-30 are reckoned otherwise than users see them.
        case Family::Date:
            return Function("+serial", {term.sql});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL" ? term.sql : Function("+number", {term.sql});
    }
}

std::string Conversions::AsExact(const Term& term) const {
    if (IsWide(term.type) || term.sql == "NULL") {
        return term.sql;
    }
    const auto family = FamilyOf(term.type);
    const bool number = family == Family::Date || family == Family::Binary;
    return Function("+exact", {number ? AsNumber(term) : Value(term)});
}

std::string Conversions::AsDate(const Term& term) const {
    switch (FamilyOf(term.type)) {
        case Family::Date:
            return term.sql;
        case Family::Number:
        case Family::Boolean:
            return Function("+linear", {AsNumber(term)});
        case Family::Binary:
            throw TypeMismatch();
        default:
            return term.sql == "NULL" ? term.sql : Function("+date", {term.sql});
    }
}

std::string Conversions::AsFamily(const Term& term, Family family) const {
    switch (family) {
        case Family::Boolean:
        case Family::Number:
            return AsNumber(term);
        case Family::Date:
            return AsDate(term);
        case Family::Text:
            return AsText(term);
        default:
            return Value(term);
    }
}

std::string Conversions::AsType(const Term& term, const ValueType& type) const {
    const auto family = FamilyOf(term.type);
    const auto wanted = FamilyOf(type);
    // One form for all branches: a mix of blobs and numbers wouldn't compare.
    if (IsWide(type)) {
        return AsExact(term);
    }
    if (IsWide(term.type)) {
        return AsFamily(term, wanted);
    }
    if (family == wanted || family == Family::Unknown || wanted == Family::Unknown) {
        return Value(term);
    }
    return AsFamily(term, wanted);
}

std::string Conversions::AsKey(const Term& term) {
    auto sql = Value(term);
    if (FamilyOf(term.type) == Family::Text && !term.collated) {
        return sql + " COLLATE VY";
    }
    // Sorted and grouped by letters without case, not byte by byte.
    // A bare whole number would mean the column of that position.
    const bool digits = sql.find_first_not_of("-0123456789() ") == std::string::npos;
    return digits ? sql + "+0" : sql;
}

}  // namespace vantry::sql
