#include "fidelity_grades.h"

#include "check/check_text.h"
#include "check/data_check.h"
#include "core/data_access.h"
#include "data/value_convert.h"
#include "engine/source_statements.h"
#include "fidelity_rules.h"

#include <algorithm>

namespace vantry::bench {
namespace {

Reading ReadingOfTarget() {
    const auto loader = ThisTarget().loader;
    return loader == Loader::Batches ? Reading::BatchLoad
           : loader == Loader::Files ? Reading::TextRun
                                     : Reading::RowLoad;
}

// What the product's own pass says must be what its judges say cell by cell.
std::string Disagreement(const Grades& grades) {
    const auto check = CheckTable(0, {});
    if (!check.trouble.empty()) {
        return "the check says " + check.trouble;
    }
    std::int64_t counted[3] = {};
    for (const auto& row : grades.cells) {
        for (const auto grade : row) {
            ++counted[static_cast<std::size_t>(grade)];
        }
    }
    std::int64_t found[3] = {};
    for (const auto& column : check.columns) {
        for (const auto& finding : column.data) {
            // A value's own grade says nothing of what stands before it in its line.
            if (finding.verdict.reason != Reason::Displaced) {
                found[static_cast<std::size_t>(finding.verdict.grade)] += finding.count;
            }
        }
    }
    return counted[1] + counted[2] == found[1] + found[2]
               ? std::string()
               : "the check of the table counts otherwise: " + TableText(check);
}

}  // namespace

Grade Grades::Of(int row, std::size_t column) const {
    const auto& columns = cells[static_cast<std::size_t>(row)];
    return column < columns.size() ? columns[column] : Grade::Refused;
}

bool Grades::Refuses(int row) const {
    const auto& columns = cells[static_cast<std::size_t>(row)];
    return std::find(columns.begin(), columns.end(), Grade::Refused) != columns.end();
}

std::string Grades::WithoutRefused(std::string_view number_column) const {
    std::string rows;
    for (std::size_t row = 1; row < cells.size(); ++row) {
        if (Refuses(static_cast<int>(row))) {
            rows += (rows.empty() ? "" : ",") + std::to_string(row);
        }
    }
    return rows.empty() ? rows : std::string(number_column) + " not in (" + rows + ")";
}

namespace {

// A stand-in keeps decimals as binary fractions: what it was sent isn't what it gives.
void GradeWhatTheSourceChanged(const FidelityTable& table,
                               const std::vector<std::size_t>& columns,
                               Grades& grades) {
    Recordset rows;
    rows.Open(
        ReadingStatements(SrcTables[0], MappedColumnsOf(SrcTables[0].TabID), ReadingOfTarget())
            .select,
        SourceConnStr,
        adOpenForwardOnly,
        adLockReadOnly);
    for (; !rows.Eof(); rows.MoveNext()) {
        const auto number = ToInt64(rows.Fields()[0].Value());
        for (std::size_t k = 0; number && k < columns.size(); ++k) {
            const auto sent = FidelityValue(table, columns[k], static_cast<int>(*number));
            const auto& found = rows.Fields()[static_cast<std::int32_t>(k)].Value();
            auto& grade = grades.cells[static_cast<std::size_t>(*number)][k];
            if (grade == Grade::Kept &&
                Judge({}, table.columns[columns[k]].meaning, sent.AsCell(), found) !=
                    Fidelity::Exact) {
                grade = Grade::Changed;
            }
        }
    }
}

}  // namespace

Grades GradesOfSession(const FidelityTable& table, const std::vector<std::size_t>& columns) {
    Grades grades;
    grades.cells.resize(static_cast<std::size_t>(table.rows) + 1);
    const auto mapped = MappedColumnsOf(SrcTables[0].TabID);
    Recordset rows;
    rows.Open(ReadingStatements(SrcTables[0], mapped, ReadingOfTarget()).select,
              SourceConnStr,
              adOpenForwardOnly,
              adLockReadOnly);
    std::vector<FieldShape> shapes;
    for (std::int32_t k = 0; k < rows.Fields().Count(); ++k) {
        auto& field = rows.Fields()[k];
        shapes.push_back(
            {field.Type(), field.DefinedSize(), field.Precision(), field.NumericScale()});
    }
    auto plans = PlanTable(0, mapped, shapes, {});
    for (; !rows.Eof(); rows.MoveNext()) {
        std::vector<Grade> row;
        for (std::size_t k = 0; k < plans.size(); ++k) {
            row.push_back(
                plans[k].judge(rows.Fields()[static_cast<std::int32_t>(k)].Value()).grade);
        }
        const auto number = ToInt64(rows.Fields()[0].Value());
        if (number && *number > 0 && *number <= table.rows) {
            grades.cells[static_cast<std::size_t>(*number)] = std::move(row);
        }
    }
    rows.Close();
    grades.trouble = Disagreement(grades);
    if (table.has_edges) {
        GradeWhatTheSourceChanged(table, columns, grades);
    }
    return grades;
}

}  // namespace vantry::bench
