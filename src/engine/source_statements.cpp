// Both statements share their FROM and WHERE, so that the count is that of the rows that are read.

#include "engine/source_statements.h"

#include "core/table_names.h"

namespace vantry {
namespace {

// Three spellings of one thing: servers' logs and filters know them.
std::string_view CountHead(Reading reading) {
    switch (reading) {
        case Reading::BatchLoad:
            return "Select Count(*) ";
        case Reading::TextRun:
            return " Select count(*) ";
        default:
            return "Select count(*) ";
    }
}

}  // namespace

MappedColumns MappedColumnsOf(i16 tab_id) {
    MappedColumns columns;
    for (const auto& row : ColMaps) {
        if (row.TabID == tab_id && row.SSelected == 1) {
            columns.push_back(&row);
        }
    }
    return columns;
}

Reading ReadingOfRun() {
    switch (ThisTarget().loader) {
        case Loader::Batches:
            return Reading::BatchLoad;
        case Loader::Files:
            return Reading::TextRun;
        case Loader::Rows:
            break;
    }
    return Reading::RowLoad;
}

SourceStatements ReadingStatements(const TableRec& source,
                                   const MappedColumns& columns,
                                   Reading reading) {
    SourceStatements statements{"SELECT ", std::string(CountHead(reading))};
    for (const auto* column : columns) {
        statements.select += SourceColumn(column->SCName, reading) + ",";
    }
    // The condition is the user's own text and goes in as it stands, into both statements alike.
    CutLast(statements.select);
    std::string rows = " FROM " + SourceTable(source, reading);
    if (!source.WhereCond.empty()) {
        rows += " WHERE " + source.WhereCond;
    }
    statements.select += rows;
    statements.count += rows;
    return statements;
}

void CutLast(std::string& text) {
    if (!text.empty()) {
        text.pop_back();
    }
}

}  // namespace vantry
