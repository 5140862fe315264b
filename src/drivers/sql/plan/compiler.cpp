// Each statement is a query of rows in the end: SELECT shows them, UPDATE and DELETE ask for the
// ids of the rows to change and the new values, and what stands behind VALUES is one row of no
// table. The parts of the compiler are put together here, once a statement.

#include "drivers/sql/plan/compiler.h"

#include "data/letter_case.h"
#include "drivers/sql/plan/select_planner.h"
#include "drivers/sql/run/plain_query.h"

#include <algorithm>

namespace vantry::sql {
namespace {

class StatementCompiler {
public:
    StatementCompiler(EmbeddedDatabase& database, const Dialect& dialect)
        : state_{database, dialect} {}
    StatementCompiler(const StatementCompiler&) = delete;
    StatementCompiler& operator=(const StatementCompiler&) = delete;

    CompiledQuery Select(const sql::Select& select);
    CompiledQuery Update(const sql::Update& update, ChangeTarget& target);
    CompiledQuery Delete(const sql::Delete& erase, ChangeTarget& target);
    CompiledQuery Values(const std::vector<ExpressionPtr>& values);

private:
    // `row_source`: the table whose rows are to be changed.
    CompiledQuery Finish(SelectPlan& plan, std::optional<std::size_t> row_source);
    ResultColumn Shown(const PlanItem& item);
    static std::size_t SourceOf(const CorePlan& plan, std::string_view target, const Scope& scope);
    void AddTarget(const Assignment& assignment,
                   Scope& scope,
                   std::optional<std::size_t>& changed,
                   std::vector<std::size_t>& columns);

    StatementState state_;
    Names names_{state_};
    Conversions conversions_{state_};
    SelectWriter writer_{state_, names_, conversions_};
    SelectPlanner planner_{state_, names_, conversions_, writer_};
};

CompiledQuery StatementCompiler::Finish(SelectPlan& plan, std::optional<std::size_t> row_source) {
    auto& sources = state_.sources;
    Wanted wanted{.as_rows = true, .row_source = row_source};
    // One table, walked once in its own order: SQLite needn't hand its rows' ids through.
    wanted.row_at_hand = !row_source && sources.size() == 1 && !state_.sorts && !state_.nests;
    const auto written = writer_.Write(plan, wanted);
    CompiledQuery query;
    query.sql = written.sql;
    // The result finds rows by these; -1 where the scan itself stands at the row.
    query.row_id_columns.assign(sources.size(), -1);
    for (const auto& [source, column] : written.row_ids) {
        query.row_id_columns[source] = column;
    }
    const auto& items = plan.cores[0].items;
    for (std::size_t k = 0; k < items.size(); ++k) {
        ResultColumn column;
        if (written.item_columns[k] < 0) {
            column = Shown(items[k]);
        } else {
            column.info = InfoOf(plan.types[k], items[k].name);
        }
        column.sql_column = written.item_columns[k];
        query.columns.push_back(std::move(column));
    }
    // Only now is it known whether rows come out as they are scanned, and whether a text is looked
    // at after the scan has moved on.
    for (auto& source : sources) {
        source->shows_directly = !state_.sorts;
        source->copies_text = state_.keeps_values || state_.nests;
    }
    query.sources = std::move(sources);
    query.functions = std::move(state_.functions);
    query.parameter_count = state_.parameter_count;
    return query;
}

// A plain column: it is read from the engine's own row.
ResultColumn StatementCompiler::Shown(const PlanItem& item) {
    const auto& origin = *item.term.origin;
    auto& source = *state_.sources[origin.source];
    auto& shown = source.shown_columns;
    if (std::find(shown.begin(), shown.end(), origin.column) == shown.end()) {
        shown.push_back(origin.column);
    }
    ResultColumn column;
    column.source = origin.source;
    column.stored_column = origin.column;
    column.info = source.Table().Columns()[origin.column].info;
    column.info.name = item.name;
    return column;
}

CompiledQuery StatementCompiler::Select(const sql::Select& select) {
    auto plan = planner_.Plan(select, nullptr);
    return Finish(*plan, std::nullopt);
}

// The stored table among the tables that `target` means, or the only one.
std::size_t StatementCompiler::SourceOf(const CorePlan& plan,
                                        std::string_view target,
                                        const Scope& scope) {
    // DELETE FROM t needs no target.
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
    // An UPDATE is planned as SELECT value, ... FROM tables WHERE condition, with the row's id.
    SelectCore core;
    SelectPlan plan;
    auto& rows = plan.cores.emplace_back();
    rows.core = &core;
    Scope scope;
    planner_.PlanTables(rows, update.tables, scope);
    auto& expressions = planner_.Expressions();
    std::optional<std::size_t> changed;
    for (const auto& assignment : update.assignments) {
        AddTarget(assignment, scope, changed, target.columns);
        PlanItem item;
        item.name = assignment.column;
        // A plain column isn't touched: its value is read from the engine's row, exact and of its
        // kind.
        item.term = assignment.value->kind == Expression::Kind::Column
                        ? expressions.Column(*assignment.value, scope)
                        : expressions.Compile(*assignment.value, scope);
        plan.types.push_back(item.term.type);
        rows.items.push_back(std::move(item));
    }
    if (update.where) {
        rows.where = expressions.Condition(*update.where, scope);
    }
    // The parser lets no UPDATE without an assignment through.
    target.source = changed.value_or(0);
    return Finish(plan, target.source);
}

// The column that is assigned to, and with the first one the source of the changed table.
void StatementCompiler::AddTarget(const Assignment& assignment,
                                  Scope& scope,
                                  std::optional<std::size_t>& changed,
                                  std::vector<std::size_t>& columns) {
    Expression name;
    name.kind = Expression::Kind::Column;
    name.qualifier = assignment.qualifier;
    name.name = assignment.column;
    const auto column = planner_.Expressions().Column(name, scope);
    if (column.table == nullptr || !column.table->source) {
        throw NotSupported("Changing the rows of a query");
    }
    if (changed.value_or(*column.table->source) != *column.table->source) {
        throw NotSupported("Changing two tables with one UPDATE");
    }
    changed = *column.table->source;
    if (std::find(columns.begin(), columns.end(), column.table_column) != columns.end()) {
        throw DuplicateTarget(assignment.column);
    }
    columns.push_back(column.table_column);
}

CompiledQuery StatementCompiler::Delete(const sql::Delete& erase, ChangeTarget& target) {
    SelectCore core;
    SelectPlan plan;
    auto& rows = plan.cores.emplace_back();
    rows.core = &core;
    Scope scope;
    planner_.PlanTables(rows, erase.tables, scope);
    target.source = SourceOf(rows, erase.target, scope);
    if (erase.where) {
        rows.where = planner_.Expressions().Condition(*erase.where, scope);
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
        item.term = planner_.Expressions().Compile(*value, scope);
        plan.types.push_back(item.term.type);
        row.items.push_back(std::move(item));
    }
    return Finish(plan, std::nullopt);
}

}  // namespace

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
