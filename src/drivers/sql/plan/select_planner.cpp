// Clauses are planned in the order in which their names come into being: tables, conditions on
// them, groups, outputs, conditions on groups, order. Easy to get wrong: where an alias may be used
// (not in WHERE, in GROUP BY and ORDER BY and in the outputs behind it), that behind GROUP BY a
// column stands only if it is grouped by, and that an order by position or name of a UNION means
// its outputs, not its tables' columns.

#include "drivers/sql/plan/select_planner.h"

#include "data/letter_case.h"
#include "drivers/sql/plan/sql_text.h"
#include "drivers/sql/run/plain_query.h"

#include <algorithm>

namespace vantry::sql {
namespace {

// SQLite's own limit is 2,000, row ids included.
constexpr std::size_t kMaxColumns = 1500;

// The output that ORDER BY means by a whole number; nothing for other expressions. A position that
// isn't there gives the number of outputs.
std::optional<std::size_t> OrderPosition(const Expression& expression, std::size_t outputs) {
    const auto constant = ConstantOf(expression);
    if (!constant || constant->AsCell().Kind() != ValueKind::Int64) {
        return std::nullopt;
    }
    const auto position = constant->AsCell().AsInt64();
    const bool there = position >= 1 && position <= static_cast<std::int64_t>(outputs);
    return there ? static_cast<std::size_t>(position - 1) : outputs;
}

// Plain columns that share their name with an output of another table are named "table.column".
void TellApart(std::vector<PlanItem>& items) {
    std::vector<bool> ambiguous(items.size(), false);
    for (std::size_t k = 0; k < items.size(); ++k) {
        const auto of_another = [&](const PlanItem& other) {
            return &other != &items[k] && SameName(other.name, items[k].name) &&
                   other.term.table != items[k].term.table;
        };
        ambiguous[k] =
            !items[k].table_name.empty() && std::any_of(items.begin(), items.end(), of_another);
    }
    for (std::size_t k = 0; k < items.size(); ++k) {
        if (ambiguous[k]) {
            items[k].name = items[k].table_name + "." + items[k].name;
        }
        items[k].table_name.clear();
    }
}

}  // namespace

std::unique_ptr<SelectPlan> SelectPlanner::Plan(const Select& select, Scope* outer) {
    const CompileLevel level(state_);
    // INTO makes a statement that changes something; a query within one can't be that.
    if (select.into) {
        throw SyntaxErrorInExpression(" (INTO)", *select.into);
    }
    auto plan = std::make_unique<SelectPlan>();
    plan->keep_duplicates = select.keep_duplicates;
    plan->cores.resize(select.cores.size());
    for (std::size_t k = 0; k < select.cores.size(); ++k) {
        Scope scope;
        scope.outer = outer;
        // The scope ends with its SELECT: parts of a union don't see each other's tables.
        PlanCore(plan->cores[k], select.cores[k], scope);
        if (select.cores.size() == 1) {
            PlanOrder(plan->cores[0], select.order_by, scope);
        }
    }
    for (const auto& item : plan->cores[0].items) {
        plan->types.push_back(item.term.type);
    }
    if (select.cores.size() > 1) {
        PlanUnion(*plan, select);
    }
    return plan;
}

std::unique_ptr<SelectPlan> SelectPlanner::PlanSubquery(const Select& select, Scope& outer) {
    state_.nests = true;
    // Its order doesn't reach the rows of the query around it.
    const bool sorts = state_.sorts;
    auto plan = Plan(select, &outer);
    state_.sorts = sorts;
    return plan;
}

void SelectPlanner::PlanCore(CorePlan& plan, const SelectCore& core, Scope& scope) {
    plan.core = &core;
    PlanTables(plan, core.from, scope);
    if (core.where) {
        // Before the aliases are known to the scope: WHERE doesn't see them.
        plan.where = expressions_.Condition(*core.where, scope);
    }
    plan.aggregate = !core.group_by.empty() || core.having != nullptr;
    for (const auto& item : core.items) {
        plan.aggregate = plan.aggregate || HasAggregate(*item.expression);
    }
    GroupKeys keys;
    scope.core = &core;
    if (plan.aggregate) {
        state_.sorts = true;
        // Grouped rows come in the order of the groups.
        keys = PlanGroups(plan, core, scope);
        scope.keys = &keys;
        scope.allows_aggregates = true;
    }
    if (core.distinct || core.distinct_row || core.top || !core.group_by.empty()) {
        state_.keeps_values = true;
    }
    // DISTINCT is a grouping; TOP alone keeps the table's order.
    state_.sorts = state_.sorts || core.distinct || core.distinct_row || core.top_percent;
    PlanItems(plan, core, scope);
    if (core.having) {
        plan.having = expressions_.Condition(*core.having, scope);
    }
    scope.keys = nullptr;
}

void SelectPlanner::PlanTables(CorePlan& plan,
                               const std::vector<TableExpression>& tables,
                               Scope& scope) {
    for (const auto& table : tables) {
        plan.from.push_back(PlanTable(plan, table, scope));
    }
}

FromNode SelectPlanner::PlanTable(CorePlan& plan, const TableExpression& table, Scope& scope) {
    FromNode node;
    if (table.kind == TableExpression::Kind::Join) {
        node.join = table.join;
        node.left = std::make_unique<FromNode>(PlanTable(plan, *table.left, scope));
        node.right = std::make_unique<FromNode>(PlanTable(plan, *table.right, scope));
        node.condition = expressions_.Condition(*table.condition, scope);
        return node;
    }
    auto& entry = *plan.tables.emplace_back(std::make_unique<ScopeTable>());
    entry.expression = &table;
    if (table.kind == TableExpression::Kind::Query) {
        // A query in FROM sees what is around the whole statement, not its neighbours.
        entry.query = Plan(*table.query, scope.outer);
    } else {
        OpenTable(entry, table);
    }
    if (entry.query) {
        state_.nests = true;
        entry.used.assign(entry.query->types.size(), false);
        entry.sql_name = "s" + std::to_string(state_.derived_count++);
    }
    scope.tables.push_back(&entry);
    node.table = &entry;
    return node;
}

// A stored table, or a saved query in whose place its own statement is planned.
void SelectPlanner::OpenTable(ScopeTable& table, const TableExpression& expression) {
    if (auto stored = state_.database.OpenTable(expression.name)) {
        table.source = state_.sources.size();
        table.sql_name = "t" + std::to_string(state_.sources.size());
        state_.sources.push_back(std::make_unique<TableSource>(std::move(stored)));
        return;
    }
    try {
        table.query = Plan(saved_queries_.Open(expression.name), nullptr);
    } catch (const DataError& error) {
        throw saved_queries_.Explained(expression.name, error);
    }
    saved_queries_.Close();
}

GroupKeys SelectPlanner::PlanGroups(CorePlan& plan, const SelectCore& core, Scope& scope) {
    GroupKeys keys;
    for (const auto& expression : core.group_by) {
        auto term = expressions_.Compile(*expression, scope);
        keys.texts.push_back(ComparableText(expression->text));
        if (term.table != nullptr) {
            keys.columns.emplace_back(term.table, term.table_column);
        }
        // An alias in GROUP BY means the expression that it names.
        for (const auto& item : core.items) {
            if (!item.alias.empty() && SameName(item.alias, expression->text)) {
                keys.texts.push_back(ComparableText(item.expression->text));
            }
        }
        plan.group_by.push_back(std::move(term));
    }
    return keys;
}

void SelectPlanner::PlanItems(CorePlan& plan, const SelectCore& core, Scope& scope) {
    for (const auto& item : core.items) {
        if (item.expression->kind == Expression::Kind::Star) {
            AddStar(plan, *item.expression, scope);
        } else {
            // In "price * 2 AS price" the name means the column.
            scope.open_aliases.assign(1, &item);
            plan.items.push_back(MakeItem(item, plan.items.size(), scope));
            scope.open_aliases.clear();
        }
        if (plan.items.size() > kMaxColumns) {
            throw TooComplex();
        }
    }
    TellApart(plan.items);
}

void SelectPlanner::AddStar(CorePlan& plan, const Expression& star, Scope& scope) {
    bool found = false;
    for (auto* table : scope.tables) {
        if (!star.qualifier.empty() && !NamesTable(star.qualifier, *table->expression)) {
            continue;
        }
        found = true;
        for (std::size_t k = 0; k < names_.ColumnCount(*table); ++k) {
            const auto& name = names_.ColumnName(*table, k);
            if (scope.keys != nullptr && !scope.keys->Has(*table, k)) {
                throw NotInAggregate(name);
            }
            plan.items.push_back({name, ShownName(*table), names_.ColumnOf(*table, k)});
        }
    }
    if (!found) {
        throw star.qualifier.empty() ? SyntaxErrorInExpression("", "*")
                                     : NoSuchColumn(star.qualifier + ".*");
    }
}

// A plain column isn't touched here: as a row's column it may not be wanted of SQLite at all.
PlanItem SelectPlanner::MakeItem(const OutputItem& item, std::size_t position, Scope& scope) {
    PlanItem made;
    if (item.expression->kind == Expression::Kind::Column) {
        made.term = expressions_.Column(*item.expression, scope);
        if (made.term.table != nullptr && item.alias.empty()) {
            made.name = names_.ColumnName(*made.term.table, made.term.table_column);
            made.table_name = ShownName(*made.term.table);
            return made;
        }
    } else {
        made.term = expressions_.Compile(*item.expression, scope);
    }
    // The number is the position, as the engines count it, from 1000.
    made.name = item.alias.empty() ? "Expr" + std::to_string(1000 + position) : item.alias;
    return made;
}

void SelectPlanner::PlanOrder(CorePlan& plan,
                              const std::vector<OrderItem>& order_by,
                              Scope& scope) {
    if (order_by.empty()) {
        return;
    }
    state_.sorts = true;
    GroupKeys keys;
    if (plan.aggregate) {
        for (const auto& expression : plan.core->group_by) {
            keys.texts.push_back(ComparableText(expression->text));
        }
        for (const auto& term : plan.group_by) {
            if (term.table != nullptr) {
                keys.columns.emplace_back(term.table, term.table_column);
            }
        }
        // Groups can only be sorted by what they are made of.
        scope.keys = &keys;
    }
    for (const auto& item : order_by) {
        OrderKey key{OrderTerm(plan, *item.expression, scope), item.descending};
        // After DISTINCT there is nothing left of a column that isn't shown.
        const auto is_key = [&](const PlanItem& other) { return other.term.sql == key.term.sql; };
        if (plan.core->distinct && std::none_of(plan.items.begin(), plan.items.end(), is_key)) {
            throw DataError(
                kErrSyntax,
                "ORDER BY clause (" + item.expression->text + ") conflicts with DISTINCT.");
        }
        plan.order_by.push_back(std::move(key));
    }
    scope.keys = nullptr;
}

Term SelectPlanner::OrderTerm(const CorePlan& plan, const Expression& expression, Scope& scope) {
    const auto position = OrderPosition(expression, plan.items.size());
    if (!position) {
        return expressions_.Compile(expression, scope);
    }
    if (*position == plan.items.size()) {
        throw SyntaxErrorInExpression(" in ORDER BY clause", expression.text);
    }
    names_.Touch(plan.items[*position].term);
    return plan.items[*position].term;
}

void SelectPlanner::PlanUnion(SelectPlan& plan, const Select& select) {
    state_.sorts = true;
    state_.nests = true;
    for (const auto& core : plan.cores) {
        if (core.items.size() != plan.types.size()) {
            throw ColumnCountDiffers();
        }
        for (std::size_t k = 0; k < plan.types.size(); ++k) {
            plan.types[k] = CommonType(plan.types[k], core.items[k].term.type);
        }
    }
    // The rows of a union are of no table: only its outputs can order them.
    const auto& items = plan.cores[0].items;
    for (const auto& order : select.order_by) {
        const auto& expression = *order.expression;
        auto found = OrderPosition(expression, items.size()).value_or(items.size());
        if (expression.kind == Expression::Kind::Column) {
            const auto is_named = [&](const PlanItem& item) {
                return SameName(item.name, expression.name);
            };
            found = static_cast<std::size_t>(std::find_if(items.begin(), items.end(), is_named) -
                                             items.begin());
        }
        if (found == items.size()) {
            throw DataError(kErrSyntax,
                            "The ORDER BY expression (" + expression.text +
                                ") includes fields that are not selected by the query.");
        }
        plan.union_order.emplace_back(found, order.descending);
    }
}

}  // namespace vantry::sql
