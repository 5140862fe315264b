#include "drivers/sql/plan/term.h"

namespace vantry::sql {

Term Truth(std::string sql) {
    Term term;
    term.sql = std::move(sql);
    term.type = SimpleType(adBoolean);
    term.logical = true;
    return term;
}

bool IsTruth(const Term& term) {
    const auto family = FamilyOf(term.type);
    return term.logical || family == Family::Boolean || family == Family::Unknown;
}

}  // namespace vantry::sql
