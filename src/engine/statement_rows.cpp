// The statement is prepared by its first execution and takes new values by reference after that: no
// value is copied between the source's row and the driver. A parameter holds its value for one
// execution only, so a field that failed leaves its parameter empty instead of the row before's.
//
// Rows that go together are told as if each had gone by itself: their lines, counts and hand-overs
// come in the order of the rows, and before those of a row that the source couldn't give. Easy to
// get wrong: the window is let in while rows are still kept, or a cancel would find them sent, so
// those hand-overs are taken off when the rows' outcomes are known; and the row that the source
// stands on is shown only when the step behind it has gone well.

#include "engine/statement_rows.h"

#include "core/table_names.h"
#include "data/value_convert.h"
#include "engine/row_loader.h"

#include <algorithm>
#include <optional>
#include <utility>

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
    is_server_ = TargetIsServer();
    insert_ = InsertHead(load_.source, load_.target) + "(";
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
        scope([&] {
            try {
                column.bind(column);
            } catch (...) {
                if (MakeWay()) {  // their lines come before this row's
                    throw;
                }
            }
        });
    }
    ++load_.rows.read;
    bool known = !scope.RowOK || SendOrKeep();
    scope([&] {
        try {
            SrcRS->MoveNext();
        } catch (...) {
            if (!known) {
                SendKept(true);
                known = true;
            }
            throw;
        }
    });
    if (known) {
        ShowAndHandOver();
    } else {
        HandOverAhead();
    }
    if (CancelRequested()) {
        SendKept(false);
        return false;
    }
    return true;
}

void StatementRows::End() {
    SendKept(false);
    load_.scope([&] { command_.Settle(); });
}

void StatementRows::Settle() {
    command_.Settle();
}

void StatementRows::SendRow(std::optional<DataError> refusal) {
    bool again = false;
    Send([&] {
        if (again) {  // values are used up by a call, also by one that is refused
            for (auto& column : columns_) {
                column.bind(column);
            }
        }
        again = true;
        if (const auto error = std::exchange(refusal, std::nullopt)) {
            throw DataError(*error);
        }
        if (is_server_) {
            Waited([this] { command_.Execute(); });
        } else {
            command_.Execute();
        }
    });
}

// ---- Rows that are kept back to go together

// Never more than errors are left: then only a block's last row can be the one that gives the table
// up, and no row behind it was sent.
std::size_t StatementRows::RoomForRows() {
    const auto left = static_cast<std::size_t>(std::max(load_.scope.ErrorsLeft(), 1));
    const auto room = std::min(block_rows_, left);
    if (room > 1 && most_kept_ == 0) {
        // Connects.
        if (is_server_) {
            Waited([this] { most_kept_ = command_.MostKept(); });
        } else {
            most_kept_ = command_.MostKept();
        }
    }
    return most_kept_ == 0 ? room : std::min(room, most_kept_);
}

bool StatementRows::SendOrKeep() {
    bool kept = false;
    std::optional<DataError> refusal;  // no statement could be had, or not with these values
    try {
        kept = most_kept_ != 1 && (!kept_.empty() || RoomForRows() > 1) && KeepRow();
    } catch (const DataError& error) {
        refusal = error;
    }
    if (!kept) {
        if (!left_out_ && (!refusal || MakeWay())) {
            SendRow(std::move(refusal));
            Grow(load_.scope.RowOK);
        }
        return true;
    }
    constexpr std::chrono::milliseconds kLongest{500};  // a slow source must not hold rows back
    const auto now = std::chrono::steady_clock::now();
    if (kept_.size() == 1) {
        first_kept_ = now;
    }
    if (kept_.size() < RoomForRows() && now - first_kept_ < kLongest) {
        return false;
    }
    SendKept(true);
    return true;
}

bool StatementRows::KeepRow() {
    auto keeping = command_.Keep();
    if (keeping != Statement::Keeping::Kept && !kept_.empty()) {
        if (!MakeWay()) {
            return false;
        }
        if (keeping == Statement::Keeping::Full) {
            keeping = command_.Keep();
        }
    }
    if (keeping != Statement::Keeping::Kept) {
        return false;
    }
    kept_.push_back(load_.rows.read);
    load_.ledger.RowKept();
    load_.ledger.RowClosed();
    return true;
}

// A cancel that comes in meanwhile finds the row on which the source stands not sent yet.
bool StatementRows::MakeWay() {
    const bool cancelled = CancelRequested();
    SendKept(false);
    if (!cancelled && CancelRequested()) {
        left_out_ = true;
        load_.ledger.OpenNotReached();
        load_.scope.RowOK = false;
    }
    return !left_out_;
}

void StatementRows::SendKept(bool on_last) {
    if (load_.scope.Cancelled) {
        kept_.clear();  // they weren't sent, and aren't any more: the ledger counts them off
    }
    if (kept_.empty()) {
        return;
    }
    const bool row_ok = load_.scope.RowOK;
    const auto read = load_.rows.read;
    const auto rows = std::exchange(kept_, {});
    const auto errors = load_.scope.ErrorCount;
    if (is_server_) {
        Waited([this] { command_.SendKept(outcomes_); });
    } else {
        command_.SendKept(outcomes_);
    }
    for (std::size_t k = 0; k < rows.size(); ++k) {
        load_.rows.read = rows[k];
        load_.scope.RowOK = true;
        SendRows(1, [&] {
            if (outcomes_[k]) {
                throw DataError(*outcomes_[k]);
            }
        });
        if (k + 1 < rows.size() || !on_last) {
            ShowAndHandOver();
        }
    }
    load_.rows.read = read;
    Grow(load_.scope.ErrorCount == errors);
    if (!on_last) {
        load_.scope.RowOK = row_ok;
    }
}

// Behind a refused row the next ones are tried in small blocks: where one is bad, many often are.
void StatementRows::Grow(bool all_well) {
    block_rows_ = all_well ? std::min(block_rows_ * 2, kMostTogether) : 1;
}

void StatementRows::ShowAndHandOver() {
    ShowRow(load_);
    if (load_.rows.loaded % kRowsPerHandOver != 0) {
        return;
    }
    if (ahead_ > 0) {
        --ahead_;
    } else if (!CancelRequested()) {
        CurrentRunView->DoEvents();
    }
}

void StatementRows::HandOverAhead() {
    const auto loaded = load_.rows.loaded;
    const auto with_kept = loaded + static_cast<std::int64_t>(kept_.size());
    const auto due = with_kept / kRowsPerHandOver - loaded / kRowsPerHandOver;
    if (with_kept % kRowsPerHandOver == 0 && due > ahead_) {
        ++ahead_;
        CurrentRunView->DoEvents();
    }
}

}  // namespace vantry
