// The ledger knows of rows by their numbers, in the order of reading. Values are at hand only while
// the source stands on a row, so a row whose outcome comes later is copied, and rows that a target
// takes back long after it had taken them are read from the source once more, at the table's end.
// Easy to get wrong: errors that belong to no row (a source that breaks off, a step behind a row
// that is stored), which must not blame one; and a batch, in which a row that failed by itself
// takes the others along.

#include "engine/row_ledger.h"

#include "data/data_error.h"
#include "data/error_text.h"
#include "data/text_scan.h"
#include "data/value_text.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace vantry {
namespace {

constexpr std::size_t kMostDone = 100;  // kept rows whose memory isn't given back at once

constexpr std::string_view kNotSentWords = "The table was given up before this row was sent.";

// "Data too long for column 'a' at row 7": counted within the statement.
std::optional<std::int64_t> RowNamedIn(std::string_view words) {
    constexpr std::string_view kAtRow = " at row ";
    const auto at = words.rfind(kAtRow);
    if (at == words.npos) {
        return std::nullopt;
    }
    words.remove_prefix(at + kAtRow.size());
    return ParseInt64(words.substr(0, words.find_first_not_of("0123456789")));
}

}  // namespace

void RowLedger::RowKept() {
    // Copied now: with the next step the source's row is another one.
    kept_.Add(SrcRS->Row());
    kept_rows_.push_back(row_);
}

void RowLedger::KeptDone(std::size_t rows) {
    kept_done_ += rows;
    if (kept_done_ >= kept_.Count()) {
        kept_.Clear();
        kept_rows_.clear();
        bad_.clear();
        kept_done_ = 0;
    } else if (kept_done_ >= kMostDone) {
        // Not after each row: what is behind would be moved up each time.
        kept_.DropFirst(kept_done_);
        kept_rows_.erase(kept_rows_.begin(),
                         kept_rows_.begin() + static_cast<std::ptrdiff_t>(kept_done_));
        bad_.erase(bad_.begin(), bad_.lower_bound(kept_rows_.front()));
        kept_done_ = 0;
    }
}

void RowLedger::KeptStored(std::int64_t rows) {
    for (std::int64_t k = 0; sums_ != nullptr && k < rows; ++k) {
        sums_->Add(kept_.Row(kept_done_ + static_cast<std::size_t>(k)));
    }
    KeptDone(static_cast<std::size_t>(rows));
}

void RowLedger::Refused(std::int64_t rows, const DataError& error) {
    refusal_told_ = true;
    const auto arrived = error.ArrivedRows();
    const auto stored = std::clamp<std::int64_t>(arrived.value_or(0), 0, rows);
    // Asked before Stored, which takes the rows that arrived off.
    const bool kept = !kept_.IsEmpty();
    if (stored > 0) {
        Stored(stored);
    }
    if (!arrived) {
        report_.RowsUnknown += rows;
    }
    const auto left = rows - stored;
    if (left <= 0) {
        return;
    }
    const auto unsure = arrived ? RejectState::OneOfThese : RejectState::MayHaveArrived;
    if (!kept) {
        open_ = false;
        Reject(row_,
               arrived ? RejectState::Refused : unsure,
               error.Description(),
               SrcRS ? SrcRS->Row() : std::span<const Cell>());
    } else {
        if (arrived && left > 1) {
            MarkRefused(static_cast<std::size_t>(left), stored, error);
        }
        const bool known = arrived && (left == 1 || !bad_.empty());
        RejectKept(static_cast<std::size_t>(left),
                   left == 1 && arrived ? RejectState::Refused
                   : known              ? RejectState::WithAnother
                                        : unsure,
                   error.Description());
    }
    if (CurrentRejects != nullptr) {
        CurrentRejects->Flush();
    }
}

// By the number that the server names, or as the first one that isn't there.
void RowLedger::MarkRefused(std::size_t rows, std::int64_t arrived, const DataError& error) {
    const auto named = RowNamedIn(error.Description());
    const std::int64_t place = named ? *named - 1 - arrived : 0;
    if (!bad_.empty() || (!named && arrived == 0) || place < 0 ||
        place >= static_cast<std::int64_t>(rows)) {
        return;
    }
    bad_[kept_rows_[kept_done_ + static_cast<std::size_t>(place)]] = error.Description();
}

void RowLedger::RejectKept(std::size_t rows, RejectState state, std::string_view words) {
    for (std::size_t k = kept_done_; k < kept_done_ + rows; ++k) {
        const auto bad = bad_.find(kept_rows_[k]);
        if (bad != bad_.end() && state != RejectState::MayHaveArrived) {
            Reject(kept_rows_[k], RejectState::Refused, bad->second, kept_.Row(k));
        } else {
            Reject(kept_rows_[k], state, words, kept_.Row(k));
        }
    }
    KeptDone(rows);
}

void RowLedger::Failed(const std::exception& error) {
    ++report_.Errors;  // until the table's end, which counts them anew
    const auto words = ErrorText(error);
    if (report_.FirstError.empty()) {
        report_.FirstError = words;
    }
    if (const auto* data_error = dynamic_cast<const DataError*>(&error)) {
        Lost(data_error->LostRows(), words);
        if (data_error->TargetLost()) {
            report_.LastStraw = words;
        }
    }
    if (std::exchange(refusal_told_, false) || !open_) {
        return;
    }
    if (holds_failed_rows_) {
        // The first failure of a row is what it is told by; its batch decides later what becomes of
        // it.
        bad_.emplace(row_, words);
        return;
    }
    open_ = false;
    Reject(row_, RejectState::Refused, words, SrcRS ? SrcRS->Row() : std::span<const Cell>());
    if (CurrentRejects != nullptr) {
        CurrentRejects->Flush();
    }
}

void RowLedger::KeptNotReached() {
    const auto rows = static_cast<std::int64_t>(kept_.Count() - kept_done_);
    report_.RowsRead -= rows;
    row_ -= rows;
    KeptDone(kept_.Count());
}

void RowLedger::KeptNotSent() {
    open_ = open_ && !holds_failed_rows_;
    // A load that was given up as of an earlier row hasn't reached those behind it.
    while (!kept_rows_.empty() && kept_done_ < kept_rows_.size() &&
           kept_rows_.back() > report_.RowsRead) {
        kept_rows_.pop_back();
        kept_.DropLast();
    }
    RejectKept(kept_.Count() - kept_done_, RejectState::NotSent, kNotSentWords);
}

void RowLedger::Reject(std::int64_t row,
                       RejectState state,
                       std::string_view words,
                       std::span<const Cell> cells) {
    ++report_.RowsRejected;
    Exclude(row, row);
    if (CurrentRejects != nullptr) {
        CurrentRejects->Add({source_.Name, row, state, words}, cells);
    }
}

void RowLedger::Exclude(std::int64_t first, std::int64_t last) {
    const auto next = out_.upper_bound(first);
    if (next != out_.begin() && std::prev(next)->second == first - 1) {
        std::prev(next)->second = last;
    } else {
        out_.emplace(first, last);
    }
}

void RowLedger::Lost(std::int64_t rows, std::string_view words) {
    if (rows <= 0) {
        return;
    }
    lost_words_ = words;
    stored_ -= rows;
    const auto unsent = static_cast<std::int64_t>(kept_.Count() - kept_done_);
    // Behind this row nothing has been sent. A target takes back what came last, so the walk goes
    // down from here, past rows that never were in it.
    std::int64_t last = row_ - std::max<std::int64_t>(unsent, open_ ? 1 : 0);
    while (rows > 0 && last > 0) {
        const auto next = out_.upper_bound(last);
        std::int64_t lowest = 1;
        if (next != out_.begin()) {
            const auto& [first_out, last_out] = *std::prev(next);
            if (last_out >= last) {
                last = first_out - 1;
                continue;
            }
            lowest = last_out + 1;
        }
        const std::int64_t first = std::max(lowest, last - rows + 1);
        rows -= last - first + 1;
        lost_[first] = last;
        Exclude(first, last);
        last = first - 1;
    }
}

void RowLedger::Finish() {
    open_ = open_ && row_ <= report_.RowsRead;
    refusal_told_ = false;
    if (open_ && !holds_failed_rows_) {
        open_ = false;
        Reject(row_,
               RejectState::NotSent,
               kNotSentWords,
               SrcRS ? SrcRS->Row() : std::span<const Cell>());
    }
    KeptNotSent();
    if (!lost_.empty()) {
        TellLost();
    }
    if (sums_ != nullptr) {
        sums_->left_out = out_;
    }
    if (CurrentRejects != nullptr) {
        CurrentRejects->Flush();
    }
}

// In the order of the first reading, which files keep and servers do as long as nothing changes
// there. A row that can't be had again is told without its values.
void RowLedger::TellLost() {
    std::int64_t row = 0;
    try {
        Recordset again;
        again.Open(select_, SourceConnStr, cursor_type_, adLockReadOnly);
        for (; !lost_.empty() && !again.Eof(); again.MoveNext()) {
            TellLostRow(++row, again.Row());
        }
    } catch (const DataError& error) {
        lost_words_ += " Its values couldn't be read again: " + error.Description();
    }
    while (!lost_.empty()) {
        row = std::max(row + 1, lost_.begin()->first);
        // Each by its number at least: the counts of file and report must agree.
        TellLostRow(row, {});
    }
}

void RowLedger::TellLostRow(std::int64_t row, std::span<const Cell> cells) {
    const auto lost = lost_.begin();
    if (row < lost->first) {
        return;
    }
    ++report_.RowsRejected;
    if (sums_ != nullptr) {
        sums_->TakeAway(cells);
    }
    if (CurrentRejects != nullptr) {
        CurrentRejects->Add({source_.Name, row, RejectState::TakenBack, lost_words_}, cells);
    }
    if (row >= lost->second) {
        lost_.erase(lost);
    }
}

}  // namespace vantry
