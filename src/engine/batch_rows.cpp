// A batch grows as one string and goes out when the count of rows reaches a multiple of 100. Easy
// to get wrong: the count includes rows that were lost, so after a refused batch the next is as
// long as any other; the full batches end in ";" and the last doesn't; and a cancel is looked for
// only behind a batch, so that what the server has is always a whole number of them. An answer
// comes when the walk is some rows further on, but its error, its counts and a load that it gives
// up are those of the row at which its batch went out.

#include "engine/batch_rows.h"

#include <optional>
#include <string>
#include <utility>

namespace vantry {
namespace {

constexpr std::int64_t kRowsPerBatch = 100;

// No row is refused in silence by a strict server. What stands in its place may.
DataError TakenInPart(std::int64_t rows, std::int64_t taken) {
    DataError error(kErrUnspecified,
                    "The server took the statement of " + std::to_string(rows) +
                        " rows and says that it has added " + std::to_string(taken) +
                        ". Look at the table, and at what stands between this program and the "
                        "server.");
    error.SetArrivedRows(taken < rows ? std::optional(taken) : std::nullopt);
    return error;
}

}  // namespace

BatchRows::BatchRows(LoadState& load) : RowStrategy(load) {
    // An error of a later row must stand behind those of the batch that is under way.
    load_.scope.BeforeError = [this] { FinishSent(Show::Yes); };
}

BatchRows::~BatchRows() {
    load_.scope.BeforeError = nullptr;
}

void BatchRows::Begin() {
    insert_head_ = InsertHead(load_.source, load_.target);
    command_.CommandType = adCmdText;
    command_.ActiveConnection = TargetConnStr;
    StartBar(load_);
    load_.ledger.HoldFailedRows();
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
    if (load_.ledger.IsOpen()) {  // else the source broke off, and there is no row
        load_.ledger.RowKept();
    }
    if (rows_in_batch_ == 0) {
        batch_ = insert_head_;
    }
    batch_ += '(';
    for (auto& column : columns_) {
        scope([&] { column.append(column.source->Value(), batch_); });
    }
    CutLast(batch_);
    batch_ += "),";
    ++loaded;
    ++rows_in_batch_;
    load_.ledger.RowClosed();
    scope([] { SrcRS->MoveNext(); });
    if (loaded % kRowsPerBatch == 0) {
        SendBatch(";");
        CurrentRunView->SetBarValue(loaded);
        CurrentRunView->DoEvents();
        if (CancelRequested()) {
            FinishSent(Show::No);
            return false;
        }
        if (!sent_ && scope.RowOK) {
            ShowCounter(load_);
        }
    }
    CurrentRunView->DoEvents();
    return true;
}

void BatchRows::SendBatch(std::string_view end) {
    FinishSent(Show::Yes);
    if (load_.scope.Cancelled) {
        return;  // its rows stay kept, as those of the batch that was stopped
    }
    CutLast(batch_);
    batch_ += end;
    // The former text's memory is used again by the next batch.
    command_.CommandText.swap(batch_);
    auto& scope = load_.scope;
    sent_ = {std::exchange(rows_in_batch_, 0),
             load_.rows.loaded,
             load_.report.RowsRead,
             scope.RowOK,
             false,
             {}};
    try {
        Waited([this] {
            sent_->answered = !command_.StartExecute();
            if (sent_->answered) {
                sent_->taken = command_.Execute();
            }
        });
    } catch (...) {
        sent_->answered = true;
        // Told in FinishSent, where the ledger counts the rows that it concerns.
        sent_->failure = std::current_exception();
    }
    if (sent_->answered) {
        FinishSent(Show::No);
    }
}

void BatchRows::FinishSent(Show show) {
    auto sent = std::exchange(sent_, std::nullopt);
    if (!sent) {
        return;
    }
    auto& row_ok = load_.scope.RowOK;
    // As of the row at which it went out, until its answer is told.
    std::swap(load_.rows.loaded, sent->loaded);
    std::swap(load_.report.RowsRead, sent->read);
    std::swap(row_ok, sent->row_ok);
    SendRows(sent->rows, [&] {
        if (sent->failure) {
            std::rethrow_exception(sent->failure);
        }
        auto taken = sent->taken;
        if (!sent->answered) {
            Waited([&] { taken = command_.FinishExecute(); });
        }
        // Nothing counted is no answer: only a number says that rows are missing.
        if (taken > 0 && taken != sent->rows) {
            throw TakenInPart(sent->rows, taken);
        }
    });
    if (sent->answered) {
        return;  // at its own row
    }
    if (show == Show::Yes && row_ok) {
        ShowCounter(load_);
    }
    load_.rows.loaded = sent->loaded;
    load_.report.RowsRead = sent->read;
    row_ok = sent->row_ok;
}

void BatchRows::End() {
    if (CancelRequested()) {
        FinishSent(Show::Yes);
        load_.ledger.KeptNotReached();
    } else if (rows_in_batch_ > 0) {
        SendBatch({});
        if (!sent_ && load_.scope.RowOK) {
            ShowCounter(load_);
        }
    }
    FinishSent(Show::Yes);
    command_ = Command();  // its connection ends with the last batch, before the source's
}

void BatchRows::Settle() {
    Command command = std::move(command_);
    command.Settle();
}

}  // namespace vantry
