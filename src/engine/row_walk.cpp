#include "engine/row_walk.h"

#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/run_view.h"

#include <algorithm>

namespace vantry {

DataError NoTargetFor(const TableRec& source) {
    return {kErrUnspecified,
            "\"" + source.Name +
                "\" isn't loaded: the session names no target for it. Open the session in the "
                "wizard, choose the tables again and save it."};
}

double CountOf(const Cell& value) {
    const auto count = ToDouble(value);
    if (!count) {
        throw DataError(kErrTypeMismatch,
                        "The source's answer to the count of its rows is no number.");
    }
    return *count;
}

bool CountSourceRows(ErrorScope& scope,
                     const SourceStatements& statements,
                     int cursor_type,
                     double& total_rows) {
    bool counted = false;
    scope([&] { SrcRS->Open(statements.count, SourceConnStr, cursor_type, adLockReadOnly); });
    scope([&] {
        total_rows = CountOf(SrcRS->Fields()[0].Value());
        counted = true;
    });
    scope([&] { SrcRS->Close(); });
    return counted;
}

void OpenSourceRows(ErrorScope& scope, const SourceStatements& statements, int cursor_type) {
    scope([&] { SrcRS->Open(statements.select, SourceConnStr, cursor_type, adLockReadOnly); });
}

void StartBar(double total_rows) {
    CurrentRunView->SetBarMin(1);
    if (total_rows > 1) {
        constexpr double kLongestBar = 1e15;  // a count from outside may be any number
        CurrentRunView->SetBarMax(static_cast<std::int64_t>(std::min(total_rows, kLongestBar)));
    }
}

bool CancelRequested() {
    return TableCancelled != kFalse || SessionCancelled != kFalse;
}

void NoteEnd(TableReport& report, const ErrorScope& scope, bool whole) {
    report.Errors = scope.ErrorCount + (whole || scope.ErrorCount > 0 ? 0 : 1);
    report.RowsLoaded -= scope.LostRows;
    report.Outcome = !whole              ? TableOutcome::GivenUp
                     : CancelRequested() ? TableOutcome::Cancelled
                                         : TableOutcome::Loaded;
}

void AppendTrimmedText(const Cell& value, std::string& out) {
    if (value.Kind() != ValueKind::Text) {
        AppendText(value, out);  // no other kind has blanks at its ends
        return;
    }
    out += Trimmed(value.AsText());
}

}  // namespace vantry
