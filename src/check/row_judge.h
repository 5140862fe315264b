#pragma once
// The rows of a table, or of a half of it, judged one behind the other as the run would carry them:
// what is found of each column, and how many rows are refused. Of one thread.

#include "check/column_reach.h"
#include "check/type_check.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace vantry {

class RowJudge {
public:
    explicit RowJudge(std::span<const ColumnPlan> plans);

    // At least one cell a column. False: a value of the row is refused, and with it the row.
    bool Judge(std::span<const Cell> row);
    // Of the last row's values.
    Reason ReasonOf(std::size_t column) const { return columns_[column].reason; }

    std::int64_t Rows() const { return rows_; }
    std::int64_t Refused() const { return refused_; }  // rows
    Extent ExtentOf(std::size_t column) const { return columns_[column].reach.Result(); }
    std::vector<Finding> FindingsOf(std::size_t column) const;

    // What was found in rows that stand behind these.
    void Add(const RowJudge& behind);

private:
    struct Column {
        ColumnJudge judge;
        ColumnReach reach;
        Reason reason = Reason::None;
        std::array<Finding, kReasons> found;
    };
    // From column `k` on, whose value isn't kept.
    bool JudgeRest(std::span<const Cell> row, std::size_t k, Verdict verdict);
    void Note(Column& column, const Cell& value, Verdict verdict) const;

    std::vector<Column> columns_;
    std::int64_t rows_ = 0;
    std::int64_t refused_ = 0;
};

}  // namespace vantry
