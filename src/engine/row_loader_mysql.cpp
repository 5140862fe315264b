// Chooses between batches of text and, where a column is long or binary, a recordset. Differs from
// the other loader in what users see: the limit is the 51st error, errors show the count of rows
// loaded, and on giving up the source is closed. Logs are compared with those of earlier runs, so
// these stay as they are.

#include "engine/row_loader_mysql.h"

#include "engine/batch_rows.h"
#include "engine/recordset_rows.h"
#include "engine/run_log.h"

namespace vantry {
namespace {

constexpr LoadRules kRules{51, &RowCounts::loaded, Reading::BatchLoad};
constexpr std::int64_t kRowsPerSecondHandOver = 10;

// The day alone, as text; a null as the word NULL, which the server refuses or reads as no date.
void CopyDay(RecordsetColumn& column) {
    const Cell& value = column.source->Value();
    Field& target = column.Target();
    if (value.IsNull()) {
        // A saved session's target has got this word so far; the check before the run warns of it.
        target.SetValue(Cell::Text("NULL"));
        return;
    }
    if (IsTextWithoutDate(value)) {
        target.SetValue(value);
        return;
    }
    const auto text = FormatForServer(value);
    target.SetValue(Cell::Text({text.data(), kServerDateLength}));
}

RecordsetCarrier CarrierOf(int type) {
    return IsDateType(type) ? CopyDay : CopyField;
}

// Hands over at every row, and once more at each tenth: a server's round trips are slow enough for
// a cancel to wait on them.
void ShowRow(LoadState& load) {
    CurrentRunView->DoEvents();
    if (!load.scope.RowOK) {
        return;
    }
    ++load.rows.loaded;
    CurrentRunView->SetBarValue(load.rows.loaded);
    ShowCounter(load);
    if (load.rows.loaded % kRowsPerSecondHandOver == 0) {
        CurrentRunView->DoEvents();
    }
}

constexpr RecordsetManner kManner{true, CarrierOf, ShowRow};

}  // namespace

i16 LoadRowsMySQL(i16 i) {
    DatabaseLoad load(i, kRules);
    auto& state = load.State();
    RecordsetRows recordset(state, kManner);
    BatchRows batches(state);
    AppendLog(log_line::AboutToInsertMySQL(state.target.Name));
    const bool whole = load.Run([&]() -> RowStrategy& {
        return HasLongFields(state) ? static_cast<RowStrategy&>(recordset) : batches;
    });
    if (whole) {
        return kTrue;
    }
    AppendLog(log_line::Aborting(state.source.Name));
    try {
        SrcRS->Close();
    } catch (const DataError&) {
        // It never opened: there is nothing to close, and its errors are in the log.
    }
    return kFalse;
}

}  // namespace vantry
