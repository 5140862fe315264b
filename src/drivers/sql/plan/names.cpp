// From the innermost query outwards the first one that has the name decides: its tables' columns
// first, then the aliases of its outputs. Names compare by the dialects' rule, without letter case.

#include "drivers/sql/plan/names.h"

#include "data/letter_case.h"
#include "drivers/sql/run/plain_query.h"

#include <algorithm>

namespace vantry::sql {

bool GroupKeys::Has(const ScopeTable& table, std::size_t column) const {
    return std::any_of(columns.begin(), columns.end(), [&](const auto& key) {
        return key.first == &table && key.second == column;
    });
}

std::variant<Term, AliasUse> Names::Find(const Expression& expression, Scope& scope) const {
    for (auto* at = &scope; at != nullptr; at = at->outer) {
        if (auto column = ColumnAt(*at, expression)) {
            if (at->keys != nullptr && !at->in_aggregate &&
                !at->keys->Has(*column->table, column->table_column)) {
                throw NotInAggregate(expression.text);
            }
            return *std::move(column);
        }
        if (const auto alias = AliasAt(*at, expression)) {
            return *alias;
        }
    }
    throw NoSuchColumn(expression.qualifier.empty() ? expression.name
                                                    : expression.qualifier + "." + expression.name);
}

std::optional<Term> Names::ColumnAt(const Scope& scope, const Expression& expression) const {
    std::optional<Term> found;
    for (auto* table : scope.tables) {
        if (!expression.qualifier.empty() &&
            !NamesTable(expression.qualifier, *table->expression)) {
            continue;
        }
        // With a qualifier the first table of that name wins, as it does in the engines.
        auto term = ColumnIn(*table, expression.name);
        if (term && found && expression.qualifier.empty()) {
            throw AmbiguousColumn(expression.name);
        }
        if (term && !found) {
            found = std::move(term);
        }
    }
    return found;
}

std::optional<AliasUse> Names::AliasAt(Scope& scope, const Expression& expression) {
    if (scope.core == nullptr || !expression.qualifier.empty()) {
        return std::nullopt;
    }
    const auto& open = scope.open_aliases;
    for (const auto& item : scope.core->items) {
        // In "price * 2 AS price" the inner name isn't the alias.
        const bool is_open = std::find(open.begin(), open.end(), &item) != open.end();
        if (!is_open && !item.alias.empty() && SameName(item.alias, expression.name)) {
            return AliasUse{&item, &scope};
        }
    }
    return std::nullopt;
}

Term Names::ColumnOf(ScopeTable& table, std::size_t column) const {
    Term term;
    // A column of a stored table is named by its number: names may hold any character.
    term.column = true;
    term.table = &table;
    term.table_column = column;
    if (table.source) {
        const auto& info = state_.sources[*table.source]->Table().Columns()[column].info;
        term.sql = table.sql_name + ".c" + std::to_string(column);
        term.type = TypeOf(info);
        term.collated = FamilyOf(term.type) == Family::Text;
        term.origin = Origin{*table.source, column, table.sql_name + ".r"};
        return term;
    }
    const auto& inner = table.query->cores[0].items[column].term;
    term.sql = table.sql_name + ".x" + std::to_string(column);
    term.type = table.query->types[column];
    // The rows of a union come from several tables: no one row is behind its values.
    if (inner.origin && table.query->cores.size() == 1) {
        term.origin = inner.origin;
        term.origin->row_id = table.sql_name + ".r" + std::to_string(inner.origin->source);
    }
    return term;
}

std::optional<Term> Names::ColumnIn(ScopeTable& table, std::string_view name) const {
    if (table.source) {
        const auto column = FindColumn(state_.sources[*table.source]->Table(), name);
        return column ? std::optional(ColumnOf(table, *column)) : std::nullopt;
    }
    const auto& items = table.query->cores[0].items;
    for (std::size_t k = 0; k < items.size(); ++k) {
        if (SameName(items[k].name, name)) {
            return ColumnOf(table, k);
        }
    }
    return std::nullopt;
}

void Names::Touch(const Term& term) const {
    if (term.table == nullptr) {
        return;
    }
    if (!term.table->source) {
        term.table->used[term.table_column] = true;
        return;
    }
    auto& columns = state_.sources[*term.table->source]->read_columns;
    if (std::find(columns.begin(), columns.end(), term.table_column) == columns.end()) {
        columns.push_back(term.table_column);
    }
}

std::size_t Names::ColumnCount(const ScopeTable& table) const {
    return table.source ? state_.sources[*table.source]->Table().Columns().size()
                        : table.query->types.size();
}

const std::string& Names::ColumnName(const ScopeTable& table, std::size_t column) const {
    return table.source ? state_.sources[*table.source]->Table().Columns()[column].info.name
                        : table.query->cores[0].items[column].name;
}

const std::string& ShownName(const ScopeTable& table) {
    return table.expression->alias.empty() ? table.expression->name : table.expression->alias;
}

}  // namespace vantry::sql
