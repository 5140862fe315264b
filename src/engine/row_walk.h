#pragma once
// What the row loaders and the text writer do alike while they walk a source: count its rows, open
// them, set up the bar, see a cancel.

#include "engine/error_scope.h"
#include "engine/run_report.h"
#include "engine/source_statements.h"

#include <cstdint>

namespace vantry {

// What is wrong with a session that has no target for this table.
DataError NoTargetFor(const TableRec& source);

// The column that a row of the map loads: a rebuilt table has the source's names.
inline const std::string& TargetColumnName(const TableRec& source, const ColMapRec& row) {
    return source.LoadOption == "DROP" ? row.SCName : row.DCName;
}

// The result of a count query; throws when it isn't a number.
double CountOf(const Cell& value);

// Runs the count on SrcRS. False when the count couldn't be had: `total_rows` is then as it was.
bool CountSourceRows(ErrorScope& scope,
                     const SourceStatements& statements,
                     int cursor_type,
                     double& total_rows);
void OpenSourceRows(ErrorScope& scope, const SourceStatements& statements, int cursor_type);

// The bar goes from 1 to the count of rows; below two rows its upper end stays what it was.
void StartBar(double total_rows);

bool CancelRequested();

// Whether there is a row; it then counts as read. Throws where the source can't say.
inline bool StandsOnRow(TableReport& report) {
    if (SrcRS->Eof()) {
        return false;
    }
    ++report.RowsRead;
    return true;
}
// How the walk of a table ended; `whole` is what its scope returned.
void NoteEnd(TableReport& report, const ErrorScope& scope, bool whole);

// Appends the value as text without blanks at its ends.
void AppendTrimmedText(const Cell& value, std::string& out);

}  // namespace vantry
