#include "data/letter_case.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/parse/parser.h"
#include "drivers/sql/plan/statement_compiler.h"
#include "drivers/sql/run/plain_query.h"

namespace vantry::sql {
namespace {

constexpr std::size_t kMaxOpenViews = 16;
constexpr std::size_t kMaxViews = 200;
constexpr std::size_t kMaxColumns = 1500;

// What an equal name is told apart by: the alias, or the table's name.
std::string TableName(const ScopeTable& table) {
    return table.expression->alias.empty() ? table.expression->name : table.expression->alias;
}

}  // namespace

std::unique_ptr<SelectPlan> StatementCompiler::Plan(const sql::Select& select, Scope* outer) {
    if (++depth_ > kMaxCompileDepth) {
        throw TooComplex();
    }
    if (select.into) {
        throw SyntaxErrorInExpression(" (INTO)", *select.into);
    }
    auto plan = std::make_unique<SelectPlan>();
    plan->keep_duplicates = select.keep_duplicates;
    plan->cores.resize(select.cores.size());
    for (std::size_t k = 0; k < select.cores.size(); ++k) {
        Scope scope;
        scope.outer = outer;
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
    --depth_;
    return plan;
}

// A query within an expression: its order is nobody else's.
std::unique_ptr<SelectPlan> StatementCompiler::PlanSubquery(const sql::Select& select,
                                                            Scope& outer) {
    nests_ = true;
    const bool sorts = sorts_;
    auto plan = Plan(select, &outer);
    sorts_ = sorts;
    return plan;
}

void StatementCompiler::PlanCore(CorePlan& plan, const SelectCore& core, Scope& scope) {
    plan.core = &core;
    PlanTables(plan, core.from, scope);
    if (core.where) {
        plan.where = Condition(*core.where, scope);
    }
    plan.aggregate = !core.group_by.empty() || core.having != nullptr;
    for (const auto& item : core.items) {
        plan.aggregate = plan.aggregate || HasAggregate(*item.expression);
    }
    GroupKeys keys;
    scope.core = &core;
    if (plan.aggregate) {
        sorts_ = true;
        CollectKeys(plan, core, scope, keys);
        scope.keys = &keys;
        scope.allows_aggregates = true;
    }
    if (core.distinct || core.distinct_row || core.top || !core.group_by.empty()) {
        keeps_values_ = true;
    }
    sorts_ = sorts_ || core.distinct || core.distinct_row || core.top_percent;
    PlanItems(plan, core, scope);
    if (core.having) {
        plan.having = Condition(*core.having, scope);
    }
    scope.keys = nullptr;
}

void StatementCompiler::CollectKeys(CorePlan& plan,
                                    const SelectCore& core,
                                    Scope& scope,
                                    GroupKeys& keys) {
    for (const auto& expression : core.group_by) {
        auto term = Compile(*expression, scope);
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
}

void StatementCompiler::PlanTables(CorePlan& plan,
                                   const std::vector<TableExpression>& tables,
                                   Scope& scope) {
    for (const auto& table : tables) {
        plan.from.push_back(PlanTable(plan, table, scope));
    }
}

FromNode StatementCompiler::PlanTable(CorePlan& plan, const TableExpression& table, Scope& scope) {
    FromNode node;
    if (table.kind == TableExpression::Kind::Join) {
        node.join = table.join;
        node.left = std::make_unique<FromNode>(PlanTable(plan, *table.left, scope));
        node.right = std::make_unique<FromNode>(PlanTable(plan, *table.right, scope));
        node.condition = Condition(*table.condition, scope);
        return node;
    }
    auto& entry = *plan.tables.emplace_back(std::make_unique<ScopeTable>());
    entry.expression = &table;
    if (table.kind == TableExpression::Kind::Query) {
        entry.query = Plan(*table.query, scope.outer);
    } else {
        PlanNamedTable(entry, table);
    }
    if (entry.query) {
        nests_ = true;
        entry.used.assign(entry.query->types.size(), false);
        entry.sql_name = "s" + std::to_string(derived_count_++);
    }
    scope.tables.push_back(&entry);
    node.table = &entry;
    return node;
}

// A stored table, or a saved query in whose place its own statement is planned.
void StatementCompiler::PlanNamedTable(ScopeTable& table, const TableExpression& expression) {
    if (auto stored = database_.OpenTable(expression.name)) {
        table.source = sources_.size();
        table.sql_name = "t" + std::to_string(sources_.size());
        sources_.push_back(std::make_unique<TableSource>(std::move(stored)));
        return;
    }
    const auto text = database_.ViewText(expression.name);
    if (!text) {
        throw NoSuchTable(dialect_.engine_name, expression.name);
    }
    for (const auto& open : open_views_) {
        if (SameName(open, expression.name)) {
            throw ViewCycle(expression.name);
        }
    }
    if (open_views_.size() >= kMaxOpenViews || ++view_count_ > kMaxViews) {
        throw TooComplex();
    }
    views_.push_back(std::make_unique<ParsedStatement>(ParseStatement(*text, dialect_.kind)));
    const auto* select = std::get_if<sql::Select>(&views_.back()->content);
    if (select == nullptr) {
        throw NotSupported("The saved query '" + expression.name + "', which gives no rows,");
    }
    if (views_.back()->parameter_count > 0) {
        throw NoSuchColumn();
    }
    open_views_.push_back(expression.name);
    table.query = Plan(*select, nullptr);
    open_views_.pop_back();
}

void StatementCompiler::PlanItems(CorePlan& plan, const SelectCore& core, Scope& scope) {
    for (std::size_t k = 0; k < core.items.size(); ++k) {
        const auto& item = core.items[k];
        if (item.expression->kind == Expression::Kind::Star) {
            AddStar(plan, *item.expression, scope);
        } else {
            scope.open_aliases.assign(1, &item);
            plan.items.push_back(MakeItem(item, plan.items.size(), scope));
            scope.open_aliases.clear();
        }
        if (plan.items.size() > kMaxColumns) {
            throw TooComplex();
        }
    }
    for (auto& item : plan.items) {
        const auto same = [&](const PlanItem& other) {
            return &other != &item && SameName(other.name, item.name);
        };
        if (!item.table_name.empty() && std::any_of(plan.items.begin(), plan.items.end(), same)) {
            bool other_table = false;
            for (const auto& other : plan.items) {
                other_table = other_table || (same(other) && other.term.table != item.term.table);
            }
            if (other_table) {
                item.table_name += '.' + item.name;
                continue;
            }
        }
        item.table_name.clear();
    }
    for (auto& item : plan.items) {
        if (!item.table_name.empty()) {
            item.name = std::move(item.table_name);
        }
    }
}

void StatementCompiler::AddStar(CorePlan& plan, const Expression& star, Scope& scope) {
    bool found = false;
    for (auto* table : scope.tables) {
        if (!star.qualifier.empty() && !NamesTable(star.qualifier, *table->expression)) {
            continue;
        }
        found = true;
        const auto count = table->source ? sources_[*table->source]->Table().Columns().size()
                                         : table->query->types.size();
        for (std::size_t k = 0; k < count; ++k) {
            PlanItem item;
            item.term = ColumnOf(*table, k);
            item.name = table->source ? sources_[*table->source]->Table().Columns()[k].info.name
                                      : table->query->cores[0].items[k].name;
            item.table_name = TableName(*table);
            const std::pair<const ScopeTable*, std::size_t> key(table, k);
            if (scope.keys != nullptr &&
                std::find(scope.keys->columns.begin(), scope.keys->columns.end(), key) ==
                    scope.keys->columns.end()) {
                throw NotInAggregate(item.name);
            }
            plan.items.push_back(std::move(item));
        }
    }
    if (!found) {
        throw star.qualifier.empty() ? SyntaxErrorInExpression("", "*")
                                     : NoSuchColumn(star.qualifier + ".*");
    }
}

PlanItem StatementCompiler::MakeItem(const OutputItem& item, std::size_t position, Scope& scope) {
    PlanItem made;
    if (item.expression->kind == Expression::Kind::Column) {
        made.term = Column(*item.expression, scope);
        if (made.term.table != nullptr && item.alias.empty()) {
            const auto& table = *made.term.table;
            const auto column = made.term.table_column;
            made.name = table.source ? sources_[*table.source]->Table().Columns()[column].info.name
                                     : table.query->cores[0].items[column].name;
            made.table_name = TableName(table);
            return made;
        }
    } else {
        made.term = Compile(*item.expression, scope);
    }
    made.name = item.alias.empty() ? "Expr" + std::to_string(1000 + position) : item.alias;
    return made;
}

void StatementCompiler::PlanOrder(CorePlan& plan,
                                  const std::vector<OrderItem>& order_by,
                                  Scope& scope) {
    if (order_by.empty()) {
        return;
    }
    sorts_ = true;
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
        scope.keys = &keys;
    }
    for (const auto& item : order_by) {
        OrderKey key;
        key.descending = item.descending;
        const auto constant = ConstantOf(*item.expression);
        if (constant && constant->AsCell().Kind() == ValueKind::Int64) {
            const auto position = constant->AsCell().AsInt64();
            if (position < 1 || position > static_cast<std::int64_t>(plan.items.size())) {
                throw SyntaxErrorInExpression(" in ORDER BY clause", item.expression->text);
            }
            key.term = plan.items[static_cast<std::size_t>(position - 1)].term;
            Touch(key.term);
        } else {
            key.term = Compile(*item.expression, scope);
        }
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

void StatementCompiler::PlanUnion(SelectPlan& plan, const sql::Select& select) {
    sorts_ = true;
    nests_ = true;
    for (const auto& core : plan.cores) {
        if (core.items.size() != plan.types.size()) {
            throw ColumnCountDiffers();
        }
        for (std::size_t k = 0; k < plan.types.size(); ++k) {
            plan.types[k] = CommonType(plan.types[k], core.items[k].term.type);
        }
    }
    const auto& items = plan.cores[0].items;
    for (const auto& order : select.order_by) {
        std::optional<std::size_t> found;
        const auto constant = ConstantOf(*order.expression);
        if (constant && constant->AsCell().Kind() == ValueKind::Int64) {
            const auto position = constant->AsCell().AsInt64();
            if (position >= 1 && position <= static_cast<std::int64_t>(items.size())) {
                found = static_cast<std::size_t>(position - 1);
            }
        }
        for (std::size_t k = 0; k < items.size() && !found; ++k) {
            if (order.expression->kind == Expression::Kind::Column &&
                SameName(items[k].name, order.expression->name)) {
                found = k;
            }
        }
        if (!found) {
            throw DataError(kErrSyntax,
                            "The ORDER BY expression (" + order.expression->text +
                                ") includes fields that are not selected by the query.");
        }
        plan.union_order.emplace_back(*found, order.descending);
    }
}

}  // namespace vantry::sql
