#pragma once
// What a name in an expression means: a column of one of the tables around it, or the alias of an
// output.

#include "drivers/sql/plan/select_plan.h"
#include "drivers/sql/plan/statement_state.h"

#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vantry::sql {

// What a grouped query may be asked for outside its aggregates.
struct GroupKeys {
    std::vector<std::string> texts;  // as written, blanks and case aside
    std::vector<std::pair<const ScopeTable*, std::size_t>> columns;

    bool Has(const ScopeTable& table, std::size_t column) const;
};

// The names that an expression sees. A query within another one sees its outer ones too.
struct Scope {
    Scope* outer = nullptr;
    std::vector<ScopeTable*> tables;
    const SelectCore* core = nullptr;  // whose aliases may be used
    const GroupKeys* keys = nullptr;   // set while only these and aggregates may stand
    bool allows_aggregates = false;
    bool in_aggregate = false;
    std::vector<const OutputItem*> open_aliases;  // being compiled: no use of themselves
};

// The expression that an alias stands for, and the scope that it is to be compiled in.
struct AliasUse {
    const OutputItem* item;
    Scope* scope;
};

class Names {
public:
    explicit Names(StatementState& state) : state_(state) {}

    // The nearest query that has the name decides; there columns go before aliases. Throws
    // NoSuchColumn, AmbiguousColumn, and NotInAggregate for a column that isn't grouped by.
    std::variant<Term, AliasUse> Find(const Expression& expression, Scope& scope) const;

    // A column's term stands in SQL only after Touch: until then nothing makes its table, or the
    // query that is its table, give the column.
    Term ColumnOf(ScopeTable& table, std::size_t column) const;
    void Touch(const Term& term) const;

    // Of a stored table, or of the query that stands for it.
    std::size_t ColumnCount(const ScopeTable& table) const;
    const std::string& ColumnName(const ScopeTable& table, std::size_t column) const;

private:
    // Of one table, of one query's tables, and the alias of an output.
    std::optional<Term> ColumnIn(ScopeTable& table, std::string_view name) const;
    std::optional<Term> ColumnAt(const Scope& scope, const Expression& expression) const;
    static std::optional<AliasUse> AliasAt(Scope& scope, const Expression& expression);

    StatementState& state_;
};

// By what an equal column name is told apart: the table's alias, or its name.
const std::string& ShownName(const ScopeTable& table);

}  // namespace vantry::sql
