// Nearly all rows of nearly all tables have nothing but values that are kept: they take the
// short loop, and from the first value on that isn't kept a row goes the long way. Easy to get
// wrong: a row counts as refused once, however many of its values are; a finding's example is
// copied when it is first met, since the row's memory goes with the row; and in a line of text a
// value that ends its field displaces those behind it.

#include "check/row_judge.h"

#include "check/check_text.h"

#include <algorithm>
#include <utility>

namespace vantry {

RowJudge::RowJudge(std::span<const ColumnPlan> plans) {
    columns_.reserve(plans.size());
    for (const auto& plan : plans) {
        columns_.push_back({plan.judge.Copy(), {}, Reason::None, {}});
    }
}

bool RowJudge::Judge(std::span<const Cell> row) {
    ++rows_;
    const std::size_t count = columns_.size();
    const Cell* const cells = row.data();
    Column* const columns = columns_.data();
    for (std::size_t k = 0; k < count; ++k) {
        auto& column = columns[k];
        column.reach.Note(cells[k]);
        column.reason = Reason::None;
        if (!column.judge.IsSurelyKept(cells[k])) {
            if (const auto verdict = column.judge(cells[k]); verdict.grade != Grade::Kept) {
                return JudgeRest(row, k, verdict);
            }
        }
    }
    return true;
}

bool RowJudge::JudgeRest(std::span<const Cell> row, std::size_t k, Verdict verdict) {
    bool refused = false;
    bool moved = false;
    bool broken = false;
    for (;;) {
        auto& column = columns_[k];
        if (moved && verdict.grade == Grade::Kept) {
            verdict = {Grade::Changed, Reason::Displaced};
        }
        column.reason = verdict.reason;
        moved = moved || verdict.reason == Reason::PushesOn ||
                verdict.reason == Reason::EndsField || verdict.reason == Reason::RunsOn ||
                verdict.reason == Reason::EndsLine;
        broken = broken || verdict.reason == Reason::EndsLine;
        if (verdict.grade != Grade::Kept) {
            Note(column, row[k], verdict);
            refused = refused || verdict.grade == Grade::Refused;
        }
        if (++k == columns_.size()) {
            break;
        }
        columns_[k].reach.Note(row[k]);
        verdict = columns_[k].judge(row[k]);
    }
    for (std::size_t column = 0; broken && column < columns_.size(); ++column) {
        if (columns_[column].reason == Reason::None) {
            Note(columns_[column], row[column], {Grade::Changed, Reason::Displaced});
        }
    }
    refused_ += refused ? 1 : 0;
    return !refused;
}

void RowJudge::Note(Column& column, const Cell& value, Verdict verdict) const {
    auto& finding = column.found[static_cast<std::size_t>(verdict.reason)];
    if (finding.count++ == 0) {
        finding.verdict = verdict;
        finding.row = rows_;
        finding.value = ShownValue(value);
        finding.arrives =
            verdict.grade == Grade::Changed ? column.judge.Arrives(value, verdict.reason) : "";
    }
    // One reason may change one value and refuse another; the example stays the first one met.
    finding.verdict.grade = std::max(finding.verdict.grade, verdict.grade);
}

std::vector<Finding> RowJudge::FindingsOf(std::size_t column) const {
    std::vector<Finding> findings;
    for (const auto& finding : columns_[column].found) {
        if (finding.count > 0) {
            findings.push_back(finding);
        }
    }
    return findings;
}

void RowJudge::Add(const RowJudge& behind) {
    for (std::size_t k = 0; k < columns_.size(); ++k) {
        columns_[k].reach.Add(behind.columns_[k].reach);
        for (std::size_t reason = 0; reason < kReasons; ++reason) {
            auto& mine = columns_[k].found[reason];
            const auto& theirs = behind.columns_[k].found[reason];
            if (mine.count == 0 && theirs.count > 0) {
                mine = theirs;
                mine.row += rows_;
                continue;
            }
            mine.count += theirs.count;
            mine.verdict.grade = std::max(mine.verdict.grade, theirs.verdict.grade);
        }
    }
    rows_ += behind.rows_;
    refused_ += behind.refused_;
}

}  // namespace vantry
