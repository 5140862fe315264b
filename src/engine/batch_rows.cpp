#include "engine/batch_rows.h"

// A batch grows as one string and goes out when the count of rows reaches a multiple of 100. Easy
// to get wrong: the count includes rows that were lost, so after a refused batch the next is as
// long as any other; the full batches end in ";" and the last doesn't; and a cancel is looked for
// only behind a batch, so that what the server has is always a whole number of them.

#include <utility>

namespace vantry {
namespace {

constexpr std::int64_t kRowsPerBatch = 100;

}  // namespace

void BatchRows::Begin() {
    insert_head_ = InsertHead(load_);
    command_.CommandType = adCmdText;
    command_.ActiveConnection = TargetConnStr;
    StartBar(load_);
    load_.scope([&] {
        for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
            auto& field = SrcRS->Fields()[k];
            columns_.push_back({&field, PieceOf(field.Type())});
        }
    });
}

// The row counts before it is sent: the label and the errors of a batch speak of rows reached.
bool BatchRows::TakeRow() {
    auto& scope = load_.scope;
    auto& loaded = load_.rows.loaded;
    batch_ += '(';
    for (auto& column : columns_) {
        scope([&] { column.append(column.source->Value(), batch_); });
    }
    CutLast(batch_);
    batch_ += "),";
    ++loaded;
    ++rows_in_batch_;
    scope([] { SrcRS->MoveNext(); });
    if (loaded % kRowsPerBatch == 0) {
        SendBatch(";");
        CurrentRunView->SetBarValue(loaded);
        CurrentRunView->DoEvents();
        if (CancelRequested()) {
            return false;
        }
        if (scope.RowOK) {
            ShowCounter(load_);
        }
    }
    CurrentRunView->DoEvents();
    return true;
}

void BatchRows::SendBatch(std::string_view end) {
    CutLast(batch_);
    command_.CommandText.assign(insert_head_).append(batch_).append(end);
    SendRows(rows_in_batch_, [&] { command_.Execute(); });
    batch_.clear();
    rows_in_batch_ = 0;
}

void BatchRows::End() {
    if (CancelRequested()) {
        load_.report.RowsRead -= rows_in_batch_;
    } else if (!batch_.empty()) {
        SendBatch({});
        if (load_.scope.RowOK) {
            ShowCounter(load_);
        }
    }
    command_ = Command();  // its connection ends with the last batch, before the source's
}

void BatchRows::Settle() {
    Command command = std::move(command_);
    command.Settle();
}

}  // namespace vantry
