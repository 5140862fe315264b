#pragma once
// Expressions into SQL: walks the tree, looks up names, and hands compiled operands to the part
// that knows the operator, comparison or function. A query within an expression is planned by the
// one who plans queries, which in turn compiles expressions here: it is reached by an interface.

#include "drivers/sql/plan/calls.h"
#include "drivers/sql/plan/comparisons.h"
#include "drivers/sql/plan/names.h"
#include "drivers/sql/plan/operators.h"
#include "drivers/sql/plan/select_writer.h"
#include "drivers/sql/plan/special_calls.h"

#include <memory>
#include <string>
#include <vector>

namespace vantry::sql {

// Plans a query that stands in an expression and may use the names around it.
class SubqueryPlanner {
public:
    virtual ~SubqueryPlanner() = default;
    virtual std::unique_ptr<SelectPlan> PlanSubquery(const Select& select, Scope& outer) = 0;
};

class ExpressionCompiler {
public:
    // All of them must outlive it.
    ExpressionCompiler(StatementState& state,
                       const Names& names,
                       const Conversions& conversions,
                       SelectWriter& writer,
                       SubqueryPlanner& subqueries);

    // The term may stand in SQL; that of Column only after Names::Touch. Throws DataError for
    // names, types and functions that don't go together.
    Term Compile(const Expression& expression, Scope& scope);
    Term Column(const Expression& expression, Scope& scope);
    // What stands behind WHERE, ON, HAVING and WHEN.
    std::string Condition(const Expression& expression, Scope& scope);

private:
    // Whatever kind of node, without the check for a group's key.
    Term CompileNode(const Expression& expression, Scope& scope);
    Term Parameter(const Expression& expression);
    Term Binary(const Expression& expression, Scope& scope);
    Term Like(const Expression& expression, Scope& scope);
    Term Between(const Expression& expression, Scope& scope);
    Term InList(const Expression& expression, Scope& scope);
    Term Exists(const Expression& expression, Scope& scope);
    Term Subquery(const Expression& expression, Scope& scope);
    Term Call(const Expression& call, Scope& scope);
    Term Aggregate(const Expression& call, Scope& scope);
    // operands[position], compiled.
    Term Operand(const Expression& expression, std::size_t position, Scope& scope);
    // The node's query; throws unless it has one column.
    std::unique_ptr<SelectPlan> PlanOneColumn(const Expression& expression, Scope& scope);
    ColumnOfRows RowsOf(const Expression& expression, Scope& scope);

    StatementState& state_;
    const Names& names_;
    const Conversions& conversions_;
    SelectWriter& writer_;
    SubqueryPlanner& subqueries_;
    Operators operators_;
    Comparisons comparisons_;
    Calls calls_;
    SpecialCalls special_calls_;
};

// A value written in the statement.
Term LiteralTerm(const Expression& expression);

}  // namespace vantry::sql
