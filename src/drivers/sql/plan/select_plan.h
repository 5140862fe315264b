#pragma once
// A query whose names and types are found, not yet written out: what the planner makes of a parsed
// SELECT and the writer turns into SQL.
//
// A SelectPlan has one CorePlan a SELECT (several under UNION). Each CorePlan owns the tables of
// its FROM clause; a table that is itself a query owns that query's plan.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/plan/term.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vantry::sql {

struct SelectPlan;

// A column of the result.
struct PlanItem {
    std::string name;
    std::string table_name;  // of a plain column, to tell equal names apart
    Term term;
};

// A table that names can be looked up in: a stored one, or the rows of a query.
struct ScopeTable {
    const TableExpression* expression = nullptr;
    std::optional<std::size_t> source;  // its number among the statement's sources
    std::unique_ptr<SelectPlan> query;
    std::vector<bool> used;           // of the query's columns
    std::set<std::size_t> rows_used;  // sources within the query whose rows' ids are wanted
    std::string sql_name;
};

// A table, or a join of two nodes whose condition is SQL already.
struct FromNode {
    ScopeTable* table = nullptr;  // null: a join
    TableExpression::JoinType join = TableExpression::JoinType::Inner;
    std::unique_ptr<FromNode> left;
    std::unique_ptr<FromNode> right;
    std::string condition;
};

struct OrderKey {
    Term term;
    bool descending = false;
};

// One SELECT. Conditions are SQL already; what becomes a column or a key is still a term, because
// the writer decides in which form it is wanted.
struct CorePlan {
    const SelectCore* core = nullptr;
    std::vector<std::unique_ptr<ScopeTable>> tables;
    std::vector<FromNode> from;
    std::vector<PlanItem> items;
    std::string where;
    std::vector<Term> group_by;
    std::string having;
    bool aggregate = false;
    std::vector<OrderKey> order_by;
};

struct SelectPlan {
    std::vector<CorePlan> cores;
    std::vector<bool> keep_duplicates;
    std::vector<ValueType> types;                           // of the columns, over all cores
    std::vector<std::pair<std::size_t, bool>> union_order;  // column, descending
};

}  // namespace vantry::sql
