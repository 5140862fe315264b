#pragma once
// Writes a planned query as SQLite's SQL, from the outside in: by then it is known which columns of
// a query in a FROM clause are wanted at all. Output column k is named x<k>, the id of a row of
// source s is r<s>.

#include "drivers/sql/plan/conversions.h"
#include "drivers/sql/plan/names.h"
#include "drivers/sql/plan/select_plan.h"

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vantry::sql {

// What a query must give.
struct Wanted {
    const std::vector<bool>* columns = nullptr;   // null: all
    const std::set<std::size_t>* rows = nullptr;  // sources whose rows' ids are to be columns
    bool as_rows = false;                         // plain columns as their rows' ids alone
    bool row_at_hand = false;                     // not even those: the scan stands at the row
    std::optional<std::size_t> row_source = {};   // a source whose id is wanted in any case
};

// Where in its rows the items and the ids stand.
struct WrittenQuery {
    std::string sql;
    std::vector<int> item_columns;                     // -1: not among the columns
    std::vector<std::pair<std::size_t, int>> row_ids;  // source, column
};

class SelectWriter {
public:
    SelectWriter(StatementState& state, const Names& names, const Conversions& conversions)
        : state_(state), names_(names), conversions_(conversions) {}

    // Changes the plan: it notes in the tables of FROM what is wanted of them, and the columns of a
    // union get their common type.
    WrittenQuery Write(SelectPlan& plan, const Wanted& wanted);

private:
    struct List;  // the select list as it grows
    // One SELECT, and the parts of its select list.
    WrittenQuery Core(CorePlan& plan, const Wanted& wanted);
    void AddItems(CorePlan& plan, const Wanted& wanted, List& list);
    void AddRowIds(CorePlan& plan, const Wanted& wanted, List& list);
    // The three that need a SELECT around a SELECT.
    WrittenQuery DistinctGroups(CorePlan& plan);
    WrittenQuery Union(SelectPlan& plan);
    std::string UnionPart(CorePlan& core, const std::vector<ValueType>& types);
    // Its clauses, each with its word in front.
    std::string From(CorePlan& plan);
    std::string Node(FromNode& node);
    std::string Body(CorePlan& plan, const std::vector<std::string>& group_by);
    std::string Top(const CorePlan& plan,
                    const WrittenQuery& columns,
                    const std::string& list,
                    const std::string& body,
                    const std::string& order);

    StatementState& state_;
    const Names& names_;
    const Conversions& conversions_;
};

}  // namespace vantry::sql
