// Chooses between the two ways to any target but MySQL: a prepared statement, or a recordset where
// a column is long or binary. The row number of an error is that of the last row tried, so a field
// that fails shows the number of the row before it; logs have always read that way.

#include "engine/row_loader.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/recordset_rows.h"
#include "engine/run_log.h"
#include "engine/statement_rows.h"

namespace vantry {
namespace {

constexpr LoadRules kRules{50, &RowCounts::read, Reading::RowLoad};

void CopyLetterBoolean(RecordsetColumn& column) {
    column.Put(AsLetter(column.source->Value()));
}

// Long values travel as bytes, a text as those of its UTF-8 form: what they mean is the target
// column's to say.
void CopyAsBytes(RecordsetColumn& column) {
    const Cell& value = column.source->Value();
    if (value.IsNull() || value.Kind() == ValueKind::Bytes) {
        column.Put(value);
        return;
    }
    std::string_view text;
    if (value.IsView()) {
        text = value.AsText();
    } else {
        column.scratch->clear();
        AppendText(value, *column.scratch);
        text = *column.scratch;
    }
    column.Put(Cell::Bytes(std::as_bytes(std::span(text.data(), text.size()))));
}

RecordsetCarrier CarrierOf(int type) {
    if (type == adLongVarBinary || type == adLongVarChar || type == adLongVarWChar ||
        type == adBinary) {
        return CopyAsBytes;
    }
    return type == adBoolean && ThisTarget().letters_for_booleans ? CopyLetterBoolean : CopyField;
}

void AfterRecordsetRow(LoadState& load) {
    ShowRow(load);
    if (!load.scope.RowOK) {
        load.scope([] { DstRS->CancelUpdate(); });
    }
    HandOver(load);
}

constexpr RecordsetManner kManner{false, CarrierOf, AfterRecordsetRow};

}  // namespace

std::uint16_t ParamTypeFor(std::uint16_t code) {
    switch (code) {
        case adBoolean:
            return static_cast<std::uint16_t>(ThisTarget().boolean_parameter);
        case adCurrency:
            return static_cast<std::uint16_t>(ThisTarget().currency_parameter);
        case adVarWChar:
            return adVarChar;
        case adVarNumeric:
            return adNumeric;
        default:
            return code;
    }
}

i16 LoadRowsGeneric(i16 i) {
    DatabaseLoad load(i, kRules);
    auto& state = load.State();
    // Both are made, one is used: which of them is known only when the source's fields are.
    RecordsetRows recordset(state, kManner);
    StatementRows statement(state);
    AppendLog(log_line::AboutToInsert(state.source.Name, state.target.Name));
    const bool whole = load.Run([&]() -> RowStrategy& {
        return HasLongFields(state) ? static_cast<RowStrategy&>(recordset) : statement;
    });
    if (whole) {
        return kTrue;
    }
    AppendLogCaretKept(log_line::Aborting(state.source.Name));
    return kFalse;
}

}  // namespace vantry
