// The target is read back through a connection of its own, when the load has let go of it. Where
// sums differ, both sides are read once more and compared row by row, which tells more only if both
// keep their order: that is believed when the columns that agree in their sums agree in each row.
// Easy to get wrong: rows that the target refused belong to neither side, and those that it had
// before come first where it keeps its order.

#include "engine/verification.h"

#include "core/route.h"
#include "core/settings.h"
#include "core/table_names.h"
#include "data/cancelled.h"
#include "data/error_text.h"
#include "engine/run_statements.h"
#include "engine/source_statements.h"
#include "engine/table_load.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

namespace vantry {
namespace {

constexpr std::int64_t kRowsPerHandOver = 1000;

constexpr const char* kRunCancelled = "the run was cancelled";

struct Cancelled {};

void LetCancelIn(std::int64_t row) {
    if (row % kRowsPerHandOver == 0) {
        CurrentRunView->DoEvents();
        if (CancelRequested()) {
            throw Cancelled();
        }
    }
}

std::vector<int> TypesOf(Recordset& rows) {
    std::vector<int> types;
    types.reserve(static_cast<std::size_t>(rows.Fields().Count()));
    for (std::int32_t k = 0; k < rows.Fields().Count(); ++k) {
        types.push_back(rows.Fields()[k].Type());
    }
    return types;
}

// One half of a table, through a connection of the thread that reads it.
class HalfOfRows final : public TargetRows {
public:
    HalfOfRows(std::string select, std::int64_t middle, bool first)
        : select_(std::move(select)), connection_(TargetConnStr), middle_(middle), first_(first) {}

    std::vector<int> Types() const override { return TypesOf(rows_); }
    bool Next() override {
        if (begun_) {
            rows_.MoveNext();
            return !rows_.Eof();
        }
        begun_ = true;
        rows_.Open(select_, connection_, adOpenForwardOnly, adLockReadOnly);
        is_same_ = rows_.Middle() == middle_;
        if (!is_same_) {
            return false;  // it was changed meanwhile
        }
        first_ ? rows_.EndAt(middle_) : rows_.GoOnAt(middle_);
        return !rows_.Eof();
    }
    std::span<const Cell> Row() const override { return rows_.Row(); }
    bool EndsWithRow() const override { return is_same_ && (!first_ || rows_.EndedWithRow()); }

private:
    std::string select_;
    std::string connection_;
    std::int64_t middle_;
    bool first_;
    bool begun_ = false;
    bool is_same_ = false;
    mutable Recordset rows_;
};

class DatabaseRows final : public TargetRows {
public:
    DatabaseRows(const TableRec& source, const TableRec& target) {
        select_ = "SELECT ";
        for (const auto* row : MappedColumnsOf(source.TabID)) {
            select_ += TargetColumnInList(TargetColumnName(source, *row));
        }
        CutLast(select_);
        select_ += " FROM " + TargetTable(target.Name);
        Waited([&] { rows_.Open(select_, TargetConnStr, adOpenForwardOnly, adLockReadOnly); });
    }
    std::vector<int> Types() const override { return TypesOf(rows_); }
    bool Next() override {
        // The recordset stands on its first row when it is open.
        if (begun_) {
            rows_.MoveNext();
        }
        begun_ = true;
        return !rows_.Eof();
    }
    std::span<const Cell> Row() const override { return rows_.Row(); }
    std::vector<std::unique_ptr<TargetRows>> Parts(std::size_t /*most*/) const override {
        std::vector<std::unique_ptr<TargetRows>> parts;
        if (const auto middle = begun_ ? 0 : rows_.Middle(); middle != 0) {
            parts.push_back(std::make_unique<HalfOfRows>(select_, middle, true));
            parts.push_back(std::make_unique<HalfOfRows>(select_, middle, false));
        }
        return parts;
    }

private:
    std::string select_;
    mutable Recordset rows_;
    bool begun_ = false;
};

// Sums of parts, each on a thread of its own, while this one lets a cancel in.
class PartSums {
public:
    PartSums(std::vector<std::unique_ptr<TargetRows>> parts,
             const std::vector<ContentColumn>& columns) {
        for (auto& rows : parts) {
            parts_.push_back({std::move(rows), ContentSums(columns), nullptr});
        }
    }
    ~PartSums() {
        stop_ = true;
        for (auto& thread : threads_) {
            thread.join();
        }
    }
    PartSums(const PartSums&) = delete;
    PartSums& operator=(const PartSums&) = delete;

    // Nothing: the parts aren't what they seemed. Throws what reading threw, std::system_error
    // where there is no thread to be had, and Cancelled.
    std::optional<ContentSums> Result() {
        for (auto& part : parts_) {
            threads_.emplace_back([this, &part] { Sum(part); });
        }
        Wait();
        for (const auto& part : parts_) {
            if (part.failure) {
                std::rethrow_exception(part.failure);
            }
        }
        ContentSums all({parts_[0].sums.Columns().begin(), parts_[0].sums.Columns().end()});
        for (const auto& part : parts_) {
            if (!part.rows->EndsWithRow()) {
                return std::nullopt;
            }
            all.Add(part.sums);
        }
        return all;
    }

private:
    struct Part {
        std::unique_ptr<TargetRows> rows;
        ContentSums sums;
        std::exception_ptr failure;
    };

    void Sum(Part& part) {
        try {
            // In memory of this thread alone: neighbours of what another one writes would be slow.
            ContentSums sums = part.sums;
            while (!stop_.load(std::memory_order_relaxed) && part.rows->Next()) {
                sums.Add(part.rows->Row());
            }
            part.sums = std::move(sums);
        } catch (...) {
            part.failure = std::current_exception();
            stop_ = true;  // the others are good for nothing without it
        }
        const std::lock_guard lock(mutex_);
        ++done_;
        changed_.notify_one();
    }

    void Wait() {
        constexpr auto kBetweenEvents = std::chrono::milliseconds(20);
        std::unique_lock lock(mutex_);
        while (
            !changed_.wait_for(lock, kBetweenEvents, [this] { return done_ == parts_.size(); })) {
            lock.unlock();
            LetCancelIn(0);
            lock.lock();
        }
    }

    std::vector<Part> parts_;
    std::vector<std::thread> threads_;
    std::atomic<bool> stop_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t done_ = 0;
};

// Nothing: the rows must be read in one go. Throws Cancelled.
std::optional<ContentSums> SumsByParts(const TargetRows& rows,
                                       const std::vector<ContentColumn>& columns) {
    // More would wait for memory rather than work.
    constexpr unsigned kMostThreads = 4;
    const auto threads = std::min(std::thread::hardware_concurrency(), kMostThreads);
    try {
        auto parts = threads > 1 ? rows.Parts(threads) : std::vector<std::unique_ptr<TargetRows>>();
        return parts.size() > 1 ? PartSums(std::move(parts), columns).Result() : std::nullopt;
    } catch (const std::exception&) {
        // A connection, lock, thread or memory that the parts couldn't have the walk in one go
        // doesn't need; what is wrong with the rows it meets again.
        return std::nullopt;
    }
}

ContentSums SumsOf(TargetRows& rows, const std::vector<ContentColumn>& columns) {
    if (auto sums = SumsByParts(rows, columns)) {
        return *std::move(sums);
    }
    LetCancelIn(0);  // what was stopped by it must not begin anew
    ContentSums sums(columns);
    while (rows.Next()) {
        sums.Add(rows.Row());
        LetCancelIn(sums.Rows());
    }
    return sums;
}

// The rows that were loaded, once more.
class LoadedRows {
public:
    LoadedRows(i16 i, const ContentSums& sums) : sums_(sums) {
        const auto table = StatementsOf(i, RowWay::Insert);
        for (const auto& statement : table.statements) {
            if (statement.use == RunStatement::Use::Select) {
                Waited([&] {
                    rows_.Open(statement.text, SourceConnStr, adOpenForwardOnly, adLockReadOnly);
                });
            }
        }
    }
    bool Next() {
        do {
            if (number_ > 0) {
                rows_.MoveNext();
            }
            ++number_;
        } while (!rows_.Eof() && IsLeftOut());
        return !rows_.Eof();
    }
    std::span<const Cell> Row() { return rows_.Row(); }

private:
    bool IsLeftOut() const {
        const auto next = sums_.left_out.upper_bound(number_);
        return next != sums_.left_out.begin() && std::prev(next)->second >= number_;
    }
    const ContentSums& sums_;
    Recordset rows_;
    std::int64_t number_ = 0;
};

}  // namespace

TableVerification::TableVerification(i16 i, OpenTarget open, bool appends)
    : table_(i), open_(std::move(open)), verified_(ReportOf(i).Verified) {
    if (!CurrentSettings.VerifyRuns) {
        return;
    }
    const auto index = static_cast<std::size_t>(i);
    if (!open_) {
        open_ = [index] {
            return std::make_unique<DatabaseRows>(SrcTables.at(index), DstTables.at(index));
        };
    }
    try {
        const auto sources = SourceTypesOf(i);
        std::unique_ptr<TargetRows> rows = appends ? open_() : nullptr;
        const auto targets = rows ? rows->Types() : std::vector<int>();
        std::vector<ContentColumn> columns;
        for (std::size_t k = 0; k < sources.size(); ++k) {
            columns.push_back(
                ContentColumnOf(sources[k], k < targets.size() ? targets[k] : adEmpty));
        }
        // Rows that are there before the load are subtracted afterwards, rather than looked for.
        std::vector<ContentColumn> stored;
        std::transform(columns.begin(), columns.end(), std::back_inserter(stored), AsReadBack);
        before_ = rows ? SumsOf(*rows, stored) : ContentSums(stored);
        source_.emplace(columns);
        // The ledger adds each row to it that the target has taken.
        CurrentSums = &*source_;
    } catch (const Cancelled&) {
        NotDone(kRunCancelled);
    } catch (const std::exception& error) {
        NotDone(IsCancelled(error) ? kRunCancelled : ErrorText(error));
    }
}

void TableVerification::NotDone(std::string why) {
    verified_.result = Verification::Result::NotDone;
    verified_.why_not = std::move(why);
}

void TableVerification::Finish() {
    CurrentSums = nullptr;
    if (!source_) {
        return;
    }
    const auto& report = ReportOf(table_);
    if (report.RowsUnknown > 0) {
        NotDone("it isn't known of " + std::to_string(report.RowsUnknown) +
                " rows whether they arrived");
        return;
    }
    try {
        LetCancelIn(0);
        const auto rows = open_();
        const auto columns = before_->Columns();
        Compare(SumsOf(*rows, {columns.begin(), columns.end()}));
    } catch (const Cancelled&) {
        NotDone(kRunCancelled);
    } catch (const std::exception& error) {
        NotDone(IsCancelled(error) ? kRunCancelled
                                   : "the target can't be read back: " + ErrorText(error));
    }
}

void TableVerification::Compare(const ContentSums& after) {
    verified_.target_before = before_->Rows();
    verified_.target_after = after.Rows();
    const auto mapped = MappedColumnsOf(SrcTables[static_cast<std::size_t>(table_)].TabID);
    std::vector<bool> differs;
    for (std::size_t k = 0; k < source_->Sums().size(); ++k) {
        differs.push_back(after.Sums()[k] - before_->Sums()[k] != source_->Sums()[k]);
        if (differs.back() && k < mapped.size()) {
            verified_.columns.push_back(
                TargetColumnName(SrcTables[static_cast<std::size_t>(table_)], *mapped[k]));
        }
    }
    const bool same =
        verified_.columns.empty() && after.Rows() - before_->Rows() == source_->Rows();
    verified_.result = same ? Verification::Result::Same : Verification::Result::Differs;
    if (!same) {
        Locate(differs);
    }
}

// Without a column that agrees, order is believed while most rows agree.
void TableVerification::Locate(const std::vector<bool>& differs) {
    const bool any_agrees = std::find(differs.begin(), differs.end(), false) != differs.end();
    LoadedRows source(table_, *source_);
    const auto target = open_();
    for (std::int64_t k = 0; k < verified_.target_before && target->Next(); ++k) {
        LetCancelIn(k);
    }
    const auto columns = source_->Columns();
    const auto stored = before_->Columns();
    std::int64_t rows = 0;
    std::int64_t different = 0;
    std::optional<std::int64_t> first;
    bool more_left = source.Next();
    bool more_right = target->Next();
    for (; more_left && more_right; more_left = source.Next(), more_right = target->Next()) {
        LetCancelIn(++rows);
        const auto left = source.Row();
        const auto right = target->Row();
        bool differ = false;
        for (std::size_t k = 0; k < std::min({left.size(), right.size(), columns.size()}); ++k) {
            if (ContentHash(left[k], columns[k]) != ContentHash(right[k], stored[k])) {
                if (any_agrees && !differs[k]) {
                    return;  // other rows stand in these places
                }
                differ = true;
            }
        }
        different += differ ? 1 : 0;
        if (differ && !first) {
            first = rows;
        }
    }
    const bool same_count = !more_left && !more_right;
    if (same_count && (any_agrees || different * 2 <= rows)) {
        verified_.rows = different;
    }
    // Of sides of different length, the place where they part.
    if (verified_.rows || (!same_count && first.value_or(rows + 1) > 1)) {
        verified_.first_row = first.value_or(rows + 1);
    }
}

std::string VerificationText(const TableReport& report) {
    const auto& found = report.Verified;
    if (found.result == Verification::Result::NotDone) {
        return "The content of " + report.Target + " wasn't compared: " + found.why_not + ".";
    }
    if (found.result != Verification::Result::Differs) {
        return {};
    }
    std::string text = "The content of " + report.Target + " differs from its source";
    for (std::size_t k = 0; k < found.columns.size(); ++k) {
        text += (k > 0                      ? ", "
                 : found.columns.size() > 1 ? " in the columns "
                                            : " in column ") +
                found.columns[k];
    }
    const auto grown = found.target_after - found.target_before;
    std::string more;
    if (grown != report.RowsLoaded) {
        more = "it grew by " + std::to_string(grown) + " rows, " +
               std::to_string(report.RowsLoaded) + " were loaded";
    }
    if (found.rows) {
        more += (more.empty() ? "" : "; ") + std::to_string(*found.rows) +
                (*found.rows == 1 ? " row" : " rows");
    }
    if (found.first_row) {
        more += (more.empty() ? "" : ", ") + std::string("first at row ") +
                std::to_string(*found.first_row);
    }
    return text + (more.empty() ? "." : " (" + more + ").");
}

std::string VerificationSummary(std::span<const TableReport> tables) {
    std::string text;
    std::size_t same = 0;
    for (const auto& table : tables) {
        same += table.Verified.result == Verification::Result::Same ? 1 : 0;
        if (const auto told = VerificationText(table); !told.empty()) {
            text += (text.empty() ? "" : " ") + told;
        }
    }
    if (same > 0) {
        text += (text.empty() ? "" : " ") +
                CountInWords(same, "table was compared and is", "tables were compared and are") +
                " the same in the target.";
    }
    return text;
}

bool AnyContentDiffers(const std::vector<TableReport>& tables) {
    return std::any_of(tables.begin(), tables.end(), [](const auto& table) {
        return table.Verified.result == Verification::Result::Differs;
    });
}

const char* ResultName(Verification::Result result) {
    switch (result) {
        case Verification::Result::Same:
            return "same";
        case Verification::Result::Differs:
            return "differs";
        default:
            return "not done";
    }
}

}  // namespace vantry
