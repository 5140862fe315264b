#include "drivers/sql/plan/compiler.h"

#include "data/letter_case.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/plan/statement_compiler.h"
#include "drivers/sql/run/plain_query.h"

namespace vantry::sql {

CompiledQuery StatementCompiler::Finish(SelectPlan& plan, std::optional<std::size_t> row_source) {
    Wanted wanted{.as_rows = true, .row_source = row_source};
    // One table, walked once in its own order: SQLite needn't hand its rows' ids through.
    wanted.row_at_hand = !row_source && sources_.size() == 1 && !sorts_ && !nests_;
    const auto rendered = Render(plan, wanted);
    CompiledQuery query;
    query.sql = rendered.sql;
    query.row_id_columns.assign(sources_.size(), -1);
    for (const auto& [source, column] : rendered.row_ids) {
        query.row_id_columns[source] = column;
    }
    const auto& items = plan.cores[0].items;
    for (std::size_t k = 0; k < items.size(); ++k) {
        ResultColumn column;
        column.sql_column = rendered.item_columns[k];
        if (column.sql_column < 0) {
            const auto& origin = *items[k].term.origin;
            auto& source = *sources_[origin.source];
            column.source = origin.source;
            column.stored_column = origin.column;
            column.info = source.Table().Columns()[origin.column].info;
            column.info.name = items[k].name;
            auto& shown = source.shown_columns;
            if (std::find(shown.begin(), shown.end(), origin.column) == shown.end()) {
                shown.push_back(origin.column);
            }
        } else {
            column.info = InfoOf(plan.types[k], items[k].name);
        }
        query.columns.push_back(std::move(column));
    }
    for (auto& source : sources_) {
        source->shows_directly = !sorts_;
        source->copies_text = keeps_values_ || nests_;
    }
    query.sources = std::move(sources_);
    query.functions = std::move(functions_);
    query.parameter_count = parameter_count_;
    return query;
}

CompiledQuery StatementCompiler::Select(const sql::Select& select) {
    auto plan = Plan(select, nullptr);
    return Finish(*plan, std::nullopt);
}

// The stored table among the tables that `target` means, or the only one.
std::size_t StatementCompiler::SourceOf(const CorePlan& plan,
                                        std::string_view target,
                                        const Scope& scope) {
    const ScopeTable* found = plan.tables.size() == 1 ? plan.tables.front().get() : nullptr;
    for (const auto* table : scope.tables) {
        if (!target.empty() && NamesTable(target, *table->expression)) {
            found = table;
        }
    }
    if (found == nullptr) {
        throw DataError(kErrSyntax, "Specify the table containing the records you want to change.");
    }
    if (!found->source) {
        throw NotSupported("Changing the rows of the query '" + found->expression->name + "'");
    }
    return *found->source;
}

CompiledQuery StatementCompiler::Update(const sql::Update& update, ChangeTarget& target) {
    SelectCore core;
    SelectPlan plan;
    auto& rows = plan.cores.emplace_back();
    rows.core = &core;
    Scope scope;
    PlanTables(rows, update.tables, scope);
    std::optional<std::size_t> changed;
    for (const auto& assignment : update.assignments) {
        Expression name;
        name.kind = Expression::Kind::Column;
        name.qualifier = assignment.qualifier;
        name.name = assignment.column;
        const auto column = Column(name, scope);
        if (column.table == nullptr || !column.table->source) {
            throw NotSupported("Changing the rows of a query");
        }
        if (changed && *changed != *column.table->source) {
            throw NotSupported("Changing two tables with one UPDATE");
        }
        changed = *column.table->source;
        for (const auto other : target.columns) {
            if (other == column.table_column) {
                throw DuplicateTarget(assignment.column);
            }
        }
        target.columns.push_back(column.table_column);
        PlanItem item;
        item.name = assignment.column;
        item.term = assignment.value->kind == Expression::Kind::Column
                        ? Column(*assignment.value, scope)
                        : Compile(*assignment.value, scope);
        plan.types.push_back(item.term.type);
        rows.items.push_back(std::move(item));
    }
    if (update.where) {
        rows.where = Condition(*update.where, scope);
    }
    target.source = changed.value_or(0);
    return Finish(plan, target.source);
}

CompiledQuery StatementCompiler::Delete(const sql::Delete& erase, ChangeTarget& target) {
    SelectCore core;
    SelectPlan plan;
    auto& rows = plan.cores.emplace_back();
    rows.core = &core;
    Scope scope;
    PlanTables(rows, erase.tables, scope);
    target.source = SourceOf(rows, erase.target, scope);
    if (erase.where) {
        rows.where = Condition(*erase.where, scope);
    }
    return Finish(plan, target.source);
}

CompiledQuery StatementCompiler::Values(const std::vector<ExpressionPtr>& values) {
    SelectCore core;
    SelectPlan plan;
    auto& row = plan.cores.emplace_back();
    row.core = &core;
    Scope scope;
    for (const auto& value : values) {
        PlanItem item;
        item.term = Compile(*value, scope);
        plan.types.push_back(item.term.type);
        row.items.push_back(std::move(item));
    }
    return Finish(plan, std::nullopt);
}

CompiledQuery CompileSelect(const Select& select,
                            EmbeddedDatabase& database,
                            const Dialect& dialect) {
    return StatementCompiler(database, dialect).Select(select);
}

CompiledQuery CompileUpdate(const Update& update,
                            EmbeddedDatabase& database,
                            const Dialect& dialect,
                            ChangeTarget& target) {
    return StatementCompiler(database, dialect).Update(update, target);
}

CompiledQuery CompileDelete(const Delete& erase,
                            EmbeddedDatabase& database,
                            const Dialect& dialect,
                            ChangeTarget& target) {
    return StatementCompiler(database, dialect).Delete(erase, target);
}

CompiledQuery CompileValues(const std::vector<ExpressionPtr>& values,
                            EmbeddedDatabase& database,
                            const Dialect& dialect) {
    return StatementCompiler(database, dialect).Values(values);
}

}  // namespace vantry::sql
