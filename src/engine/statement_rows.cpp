#include "engine/statement_rows.h"

// The statement is prepared by its first execution and takes new values by reference after that: no
// value is copied between the source's row and the driver. A parameter holds its value for one
// execution only, so a field that failed leaves its parameter empty instead of the row before's.

#include "core/table_names.h"
#include "data/value_convert.h"
#include "engine/row_loader.h"

namespace vantry {
namespace {

constexpr std::int64_t kRowsPerHandOver = 10;

Parameter ParameterFor(const Field& field) {
    Parameter parameter;
    parameter.Direction = adParamInput;
    parameter.Type = ParamTypeFor(static_cast<std::uint16_t>(field.Type()));
    parameter.Size = field.DefinedSize();
    parameter.NumericScale = field.NumericScale();
    parameter.Precision = field.Precision();
    const int most = ThisTarget().most_digits;
    // A longer number would be refused by the target as a whole; this way it loses digits at most.
    if (most > 0 && field.Type() == adNumeric && field.Precision() > most) {
        parameter.Size = most;
        parameter.Precision = most;
        parameter.NumericScale = most - 1;
    }
    return parameter;
}

}  // namespace

// A null is an F, too: the column of letters that stands for a boolean has never had nulls.
Cell AsLetter(const Cell& value) {
    return Cell::Text(ToBoolean(value).value_or(false) ? "T" : "F");
}

void ShowRow(LoadState& load) {
    auto& loaded = load.rows.loaded;
    CurrentRunView->SetBarValue(loaded + 1);
    if (load.scope.RowOK) {
        ++loaded;
        ShowCounter(load);
    }
}

void HandOver(const LoadState& load) {
    if (load.rows.loaded % kRowsPerHandOver == 0) {
        CurrentRunView->DoEvents();
    }
}

void StatementRows::BindField(Column& column) {
    column.parameter->SetValue(column.source->Value());
}

void StatementRows::BindLetterBoolean(Column& column) {
    column.parameter->SetValue(AsLetter(column.source->Value()));
}

void StatementRows::BindBinaryBoolean(Column& column) {
    column.parameter->Type = adBoolean;
    const bool set = ToBoolean(column.source->Value()).value_or(false);
    column.parameter->SetValue(Cell::Int64(set ? kTrue : kFalse));
}

auto StatementRows::BinderOf(int type) -> void (*)(Column&) {
    const auto& target = ThisTarget();
    if (type == adBoolean && target.letters_for_booleans) {
        return BindLetterBoolean;
    }
    if (type == adBoolean && target.binds_booleans && ThisSource().binary_booleans) {
        return BindBinaryBoolean;
    }
    return BindField;
}

void StatementRows::AppendParameters() {
    const auto count = SrcRS->Fields().Count();
    for (std::int32_t k = 0; k < count; ++k) {
        insert_ += "?,";
        command_.Parameters.Append(ParameterFor(SrcRS->Fields()[k]));
    }
    // Only when all are appended do they stand still in memory.
    for (std::int32_t k = 0; k < count; ++k) {
        auto& column = columns_.emplace_back();
        column.source = &SrcRS->Fields()[k];
        column.parameter = &command_.Parameters[k];
        column.bind = BinderOf(column.source->Type());
    }
}

void StatementRows::Begin() {
    insert_ = InsertHead(load_) + "(";
    command_.CommandType = adCmdText;
    command_.ActiveConnection = TargetConnStr;
    // File engines make rows last in batches; End and Settle say when that must be done.
    command_.ManyRows = true;
    load_.scope([&] { AppendParameters(); });
    CutLast(insert_);
    command_.CommandText = insert_ + ")";
    StartBar(load_);
}

bool StatementRows::TakeRow() {
    auto& scope = load_.scope;
    // The fields of a source that couldn't be opened can't be walked: that is an error of each row.
    scope([] { SrcRS->Fields(); });
    for (auto& column : columns_) {
        scope([&] { column.bind(column); });
    }
    ++load_.rows.read;
    bool again = false;
    Send([&] {
        if (again) {  // values are used up by a call, also by one that is refused
            for (auto& column : columns_) {
                column.bind(column);
            }
        }
        again = true;
        command_.Execute();
    });
    scope([] { SrcRS->MoveNext(); });
    ShowRow(load_);
    HandOver(load_);
    return !CancelRequested();
}

void StatementRows::End() {
    load_.scope([&] { command_.Settle(); });
}

void StatementRows::Settle() {
    command_.Settle();
}

}  // namespace vantry
