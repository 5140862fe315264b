#pragma once
// Which types of a session's columns lose values, told without a look at the data: the extreme
// values of each source type (largest number, most places, longest text, a null) are judged as the
// run would carry them into the column that the target has or will get.

#include "check/value_judge.h"
#include "core/session_state.h"
#include "data/driver.h"
#include "engine/source_statements.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

struct Finding {
    Verdict verdict;
    std::int64_t count = 0;  // values; 0 for a finding about types
    std::int64_t row = 0;    // of the first one, from 1
    std::string value;       // as text, cut; "Null" for a null
    std::string arrives;     // in its place; empty where that can't be said
};

// What a pass over the data found in a column.
struct Extent {
    std::int64_t nulls = 0;
    std::int64_t longest = 0;  // characters, or bytes of binary values
    std::optional<double> least;
    std::optional<double> most;
    int places = 0;  // behind the point, of decimal numbers
    std::optional<DateTime> earliest;
    std::optional<DateTime> latest;
};

struct ColumnCheck {
    std::string source;
    std::string target;
    std::string source_type;
    std::string target_type;
    std::vector<Finding> types;
    std::vector<Finding> data;
    Extent extent;
    bool required = false;

    // By the data where they were looked at, else by the types.
    Grade Worst(bool with_data) const;
};

struct TableCheck {
    std::string source;
    std::string target;
    bool with_data = false;
    bool whole = true;         // false: cancelled
    std::int64_t rows = 0;     // read
    std::int64_t refused = 0;  // rows of which a value is
    std::string trouble;       // why it couldn't be checked; empty when it could
    std::vector<std::string> remarks;
    std::vector<ColumnCheck> columns;

    Grade Worst() const;
};

// A column of the target table as its field list has it.
struct TargetField {
    std::string name;
    FieldShape shape;
    std::string type;
    std::string servers_type;  // its own word for it; empty where nobody asked
    std::optional<TableRules::Moments> moments;
};

// A column of the load with its judge.
struct ColumnPlan {
    const ColMapRec* map = nullptr;
    FieldShape source;
    ColumnJudge judge;
};

// What becomes of each column of the load. `sources` are the fields of the SELECT, `targets` those
// of the target where rows are added to it as it is.
std::vector<ColumnPlan> PlanTable(std::size_t table,
                                  const MappedColumns& columns,
                                  const std::vector<FieldShape>& sources,
                                  const std::vector<TargetField>& targets);
// Rows are added to the table as it is; else it is made by CREATE.
bool IsFilledAsItIs(std::size_t table);

// The extreme values of a field of a source of this kind, a null among them.
std::vector<Value> EdgeValues(TypeNames source_kind, const FieldShape& shape);
std::vector<Finding> JudgeType(TypeNames source_kind, ColumnPlan& plan);
// What is wrong with the names and the number of the columns that CREATE would make.
void JudgeNames(std::size_t table, TableCheck& check);

// By the session's arrays alone, as the mapping pages fill them: nothing is asked. `columns` are
// the table's; whoever checks all tables finds those of each in one pass over the map.
TableCheck CheckTypes(std::size_t table, const MappedColumns& columns);
std::map<double, MappedColumns> MappedColumnsByTable();

// The worst that the types of a column do. What depends on rare texts alone (blanks at their ends,
// letters of other scripts) doesn't count.
Grade UsualGrade(const ColumnCheck& column);
// The columns of a created table whose types change values, or can't be created: what the mapping
// page marks.
std::vector<const ColumnCheck*> ChangingColumns(const TableCheck& check);

}  // namespace vantry
