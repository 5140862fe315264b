#pragma once
// Plans a parsed SELECT: opens its tables, finds what all of its names and expressions mean, and
// names its columns. The expressions' SQL is made on the way; the query's own is made by the
// SelectWriter afterwards.

#include "drivers/sql/plan/expression_compiler.h"
#include "drivers/sql/plan/names.h"
#include "drivers/sql/plan/saved_queries.h"
#include "drivers/sql/plan/select_plan.h"

#include <memory>
#include <vector>

namespace vantry::sql {

class SelectPlanner : public SubqueryPlanner {
public:
    // All of them must outlive it.
    SelectPlanner(StatementState& state,
                  const Names& names,
                  const Conversions& conversions,
                  SelectWriter& writer)
        : state_(state),
          names_(names),
          expressions_(state, names, conversions, writer, *this),
          saved_queries_(state) {}

    // Throws DataError for what the statement names wrongly or asks in vain.
    std::unique_ptr<SelectPlan> Plan(const Select& select, Scope* outer);
    std::unique_ptr<SelectPlan> PlanSubquery(const Select& select, Scope& outer) override;
    // The FROM clause alone: UPDATE and DELETE have one, too.
    void PlanTables(CorePlan& plan, const std::vector<TableExpression>& tables, Scope& scope);
    // For the expressions of UPDATE, DELETE and VALUES.
    ExpressionCompiler& Expressions() { return expressions_; }

private:
    // One SELECT; fills all of the plan but its order.
    void PlanCore(CorePlan& plan, const SelectCore& core, Scope& scope);
    // Adds the tables to the plan and to the scope, joins by their conditions.
    FromNode PlanTable(CorePlan& plan, const TableExpression& table, Scope& scope);
    void OpenTable(ScopeTable& table, const TableExpression& expression);
    // What may stand outside aggregates from here on.
    GroupKeys PlanGroups(CorePlan& plan, const SelectCore& core, Scope& scope);
    void PlanItems(CorePlan& plan, const SelectCore& core, Scope& scope);
    void AddStar(CorePlan& plan, const Expression& star, Scope& scope);
    PlanItem MakeItem(const OutputItem& item, std::size_t position, Scope& scope);
    void PlanOrder(CorePlan& plan, const std::vector<OrderItem>& order_by, Scope& scope);
    // An output by its position, or an expression.
    Term OrderTerm(const CorePlan& plan, const Expression& expression, Scope& scope);
    void PlanUnion(SelectPlan& plan, const Select& select);

    StatementState& state_;
    const Names& names_;
    ExpressionCompiler expressions_;
    SavedQueries saved_queries_;
};

}  // namespace vantry::sql
