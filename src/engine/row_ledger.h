#pragma once
// What became of each row of one table, from the moment the source stands on it: it is in the
// target, or it is in the reject file, or a run that ended early never reached it. The walk and the
// strategies say what happens; counts of the report, the reject file and the sums of the
// verification are kept here.
//
//     RowOpened                      the source stands on a row
//     RowKept                        a copy of it is kept: its outcome comes later
//     RowClosed                      the source leaves it; what becomes of the copy is told later
//     Stored(n), Refused(n, error)   the outcome of the n oldest kept rows or, with none kept, of
//                                    the row on which the source stands
//     Failed                         a statement failed: the open row, if there is one, isn't sent
//
// A row is told once, under the words of its first failure.

#include "core/session_state.h"
#include "data/row_copies.h"
#include "engine/content_sum.h"
#include "engine/reject_file.h"
#include "engine/run_report.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry {

class RowLedger {
public:
    // Rows that are in the target go into CurrentSums, too, if there is one by now.
    RowLedger(const TableRec& source, TableReport& report)
        : source_(source), report_(report), sums_(CurrentSums) {}
    RowLedger(const RowLedger&) = delete;
    RowLedger& operator=(const RowLedger&) = delete;

    // How rows are read again that the target took and lost.
    void SetReading(std::string select, int cursor_type) {
        select_ = std::move(select);
        cursor_type_ = cursor_type;
    }
    // A row that fails stays among the kept ones: its batch is refused by it, or never sent.
    void HoldFailedRows() { holds_failed_rows_ = true; }

    void RowOpened() {
        ++report_.RowsRead;
        ++row_;
        open_ = true;
    }
    bool IsOpen() const { return open_; }
    void RowKept();
    void RowClosed() { open_ = false; }
    void Stored(std::int64_t rows) {
        report_.RowsLoaded += rows;
        StoredAsCounted(rows);
    }
    // The same where the report counts by other means: lines of a file.
    void StoredAsCounted(std::int64_t rows) {
        stored_ += rows;
        if (kept_.IsEmpty()) {
            open_ = false;
            if (sums_ != nullptr) {
                sums_->Add(SrcRS->Row());
            }
        } else {
            KeptStored(rows);
        }
    }
    void Refused(std::int64_t rows, const DataError& error);
    void Failed(const std::exception& error);
    // A cancel has stopped the statement of the open row, if there is one: it counts as not
    // reached. One that is kept stays so.
    void OpenNotReached() {
        if (std::exchange(open_, false)) {
            --report_.RowsRead;
            --row_;
        }
    }
    // What is kept was never sent: by a cancel it counts as not reached, otherwise as not loaded.
    void KeptNotReached();
    void KeptNotSent();
    // The last `rows` rows that were stored aren't in the target any more; all but the first `rows`
    // ones aren't.
    void Lost(std::int64_t rows, std::string_view words);
    void LostBehind(std::int64_t rows, std::string_view words) { Lost(stored_ - rows, words); }
    // The end of the table: lost rows are read again and told.
    void Finish();

private:
    void KeptStored(std::int64_t rows);
    void KeptDone(std::size_t rows);
    void Reject(std::int64_t row,
                RejectState state,
                std::string_view words,
                std::span<const Cell> cells);
    // The oldest `rows` kept ones: those that failed by themselves are refused, all others have
    // `state`.
    void RejectKept(std::size_t rows, RejectState state, std::string_view words);
    void MarkRefused(std::size_t rows, std::int64_t arrived, const DataError& error);
    void TellLost();
    void TellLostRow(std::int64_t row, std::span<const Cell> cells);
    void Exclude(std::int64_t first, std::int64_t last);

    const TableRec& source_;
    TableReport& report_;
    ContentSums* sums_;
    std::int64_t row_ = 0;  // on which the source stands; the report's count may be an earlier one
    std::int64_t stored_ = 0;
    bool open_ = false;
    bool holds_failed_rows_ = false;
    bool refusal_told_ = false;  // the error that comes next belongs to rows that are dealt with
    RowCopies kept_;
    std::vector<std::int64_t> kept_rows_;        // their numbers
    std::size_t kept_done_ = 0;                  // so many of them are behind
    std::map<std::int64_t, std::string> bad_;    // of the kept rows: the words of their failure
    std::map<std::int64_t, std::int64_t> out_;   // rows not in the target: first and last of each
    std::map<std::int64_t, std::int64_t> lost_;  // of them, those that aren't told yet
    std::string lost_words_;
    std::string select_;
    int cursor_type_ = adOpenForwardOnly;
};

}  // namespace vantry
