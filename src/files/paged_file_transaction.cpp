// Statements, batches of rows, and how their pages get into the file by way of the journal.

#include "files/file_errors.h"
#include "files/file_lock.h"
#include "files/paged_file.h"

#include <algorithm>
#include <cstring>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kRunPages = 64;       // complete pages written together
constexpr std::uint32_t kRowsPerLook = 64;  // at the clock
constexpr std::chrono::milliseconds kBurstGap{100};
constexpr std::chrono::milliseconds kPatienceOfABatch{60'000};

}  // namespace

void PagedFile::AcquireWriter() {
    if (!file_.Writable()) {
        throw OpenedReadOnly(file_.Path());
    }
    FlushSiblings();
    // By the turn a bulk load sees that another connection waits, and ends its batch.
    Lock(file_, LockByte::Turn, LockKind::Exclusive);
    try {
        Lock(file_, LockByte::Writer, LockKind::Exclusive);
    } catch (...) {
        Unlock(file_, LockByte::Turn);
        throw;
    }
    Unlock(file_, LockByte::Turn);
    try {
        // Not before: the former holder of the lock may have replaced the file.
        const auto named = StampOf(file_.Path());
        if (!named || !named->SameFile(stamp_)) {
            throw ReplacedWhileOpen(file_.Path());
        }
        while (StampOf(Journal::PathFor(file_.Path()))) {
            Recover();
            Lock(file_, LockByte::Writer, LockKind::Exclusive);
        }
        NoteStamp(false);
    } catch (...) {
        Unlock(file_, LockByte::Writer);
        throw;
    }
    base_pages_ = PagesIn(stamp_.size);
    page_count_ = base_pages_;
    reserved_ = stamp_.size;
    ++transaction_;
}

void PagedFile::ReleaseWriter() {
    if (content_locked_) {
        Unlock(file_, LockByte::Content);
        content_locked_ = false;
    }
    Unlock(file_, LockByte::Writer);
    state_ = State::Idle;
    DropFrames();
}

void PagedFile::Begin() {
    mutex_.lock();
    try {
        ThrowPending();
        if (state_ == State::Batch) {
            CommitOpen();
        }
        AcquireWriter();
        state_ = State::Statement;
    } catch (...) {
        mutex_.unlock();
        throw;
    }
}

void PagedFile::Commit() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    CommitOpen();
}

void PagedFile::Rollback() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    RollbackOpen();
}

void PagedFile::BeginRow(bool undo) {
    mutex_.lock();
    try {
        ThrowPending();
        const bool first = state_ != State::Batch;
        if (first) {
            AcquireWriter();
            state_ = State::Batch;
            batch_start_ = Clock::now();
            batch_rows_ = 0;
            if (batch_start_ - last_commit_ > kBurstGap) {
                burst_ = 0;
            }
            if (burst_ >= single_rows_) {
                WakeTimer();
            }
        }
        undo_ = undo || first;
        ++mark_;
        BumpVersion();
        pages_at_mark_ = page_count_;
    } catch (...) {
        mutex_.unlock();
        throw;
    }
}

void PagedFile::EndRow(bool keep) {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    if (!keep) {
        if (undo_) {
            try {
                UndoRow();
            } catch (...) {
                FailOpen(batch_rows_);
            }
        }
        undo_ = false;
        images_.clear();
        return;
    }
    undo_ = false;
    images_.clear();
    ++batch_rows_;
    if (burst_ < single_rows_) {
        ++burst_;
        CommitOpen(1);
        return;
    }
    try {
        SafePoint();
    } catch (...) {
        FailOpen(batch_rows_ - 1);
    }
    if (batch_rows_ % kRowsPerLook == 0 &&
        (Clock::now() - batch_start_ >= options_.batch_age ||
         LockedByOther(file_, LockByte::Turn, LockKind::Exclusive))) {
        CommitOpen(1);
    }
}

void PagedFile::UndoRow() {
    // From the last to the first: a page that was written early and loaded again has a second
    // image, with changes of the row in it.
    for (auto saved = images_.rbegin(); saved != images_.rend(); ++saved) {
        const Image& image = *saved;
        Frame& frame = Load(image.page, false);
        std::memcpy(frame.bytes, image.bytes.get(), options_.page_size);
        if (!frame.changed) {
            frame.changed = true;
            changed_existing_ += Matters(image.page) ? 1 : 0;
        }
    }
    for (std::uint32_t page = pages_at_mark_; page < page_count_; ++page) {
        if (const auto frame = frames_.find(page); frame != frames_.end()) {
            free_buffers_.push_back(frame->second.bytes);
            frames_.erase(frame);
        }
    }
    std::erase_if(finished_, [this](std::uint32_t page) { return page >= pages_at_mark_; });
    page_count_ = pages_at_mark_;
    ++view_;
}

void PagedFile::CommitOpen(std::uint32_t failing) {
    const std::uint32_t former_rows = state_ == State::Batch ? batch_rows_ - failing : 0;
    try {
        undo_ = false;
        if (before_commit_) {
            before_commit_();
        }
        WriteEverything();
    } catch (...) {
        FailOpen(former_rows);
    }
    last_commit_ = Clock::now();
    NoteStamp(true);
    ReleaseWriter();
}

// To be called while an exception is handled, whatever it is: pages may be in any state.
void PagedFile::FailOpen(std::uint32_t lost_rows) {
    RollbackOpen();
    try {
        throw;
    } catch (const DataError& error) {
        throw RowsLost(error, lost_rows);
    } catch (const std::bad_alloc&) {
        if (lost_rows == 0) {
            throw;
        }
        throw RowsLost(OutOfMemory(file_.Path()), lost_rows);
    }
}

void PagedFile::RollbackOpen() {
    if (journal_) {
        journal_.reset();
        try {
            LockContent();
            const auto played = PlayBack(file_, options_.page_size);
            // Without a journal the transaction had been committed when it failed: cutting the file
            // would take pages from under those that refer to them.
            if (played != PlaybackResult::NoJournal && file_.Size() > OffsetOf(base_pages_)) {
                file_.Truncate(OffsetOf(base_pages_));
            }
        } catch (const std::exception&) {
            // The journal stays: the next program that opens the file plays it back. What went
            // wrong first is being reported.
        }
    }
    try {
        NoteStamp(true);
    } catch (const std::exception&) {
        stamp_is_recent_ = true;  // unknown: read everything anew next time
        BumpVersion();
    }
    ReleaseWriter();
}

void PagedFile::OpenJournal() {
    if (!journal_) {
        journal_ = std::make_unique<Journal>(
            file_.Path(), options_.page_size, OffsetOf(base_pages_), stamp_.owner_only);
    }
}

void PagedFile::LockContent() {
    if (!content_locked_) {
        // The rows of a batch were accepted before: a reader that stalls mustn't cost them.
        const bool batch = state_ == State::Batch;
        LockPatiently(file_,
                      LockByte::Content,
                      LockKind::Exclusive,
                      batch ? kPatienceOfABatch : std::chrono::milliseconds::zero());
        content_locked_ = true;
    }
}

// Puts the former content of existing pages into the journal. `last`: they won't change again.
void PagedFile::JournalPages(std::span<const std::uint32_t> pages, bool last) {
    std::vector<std::byte> former(options_.page_size);
    for (const std::uint32_t page : pages) {
        if (!Matters(page) || !journaled_.insert(page).second) {
            continue;
        }
        file_.ReadExactly(OffsetOf(page), former);
        if (!last) {
            journal_->AddImage(page, former, {});
            continue;
        }
        std::span<const std::byte> replacement(frames_.at(page).bytes, options_.page_size);
        if (options_.encode) {
            std::memcpy(encoded_.data(), replacement.data(), replacement.size());
            options_.encode(page, encoded_);
            replacement = encoded_;
        }
        journal_->AddImage(page, former, replacement);
    }
    journal_->Sync();
}

// Writes pages in runs; sorts `pages`. They are unchanged afterwards.
void PagedFile::WritePages(std::vector<std::uint32_t>& pages) {
    std::sort(pages.begin(), pages.end());
    std::vector<iovec> run;
    std::vector<std::byte> encoded;
    for (std::size_t at = 0; at < pages.size();) {
        const std::uint32_t first = pages[at];
        run.clear();
        std::size_t end = at;
        for (; end < pages.size() && pages[end] == first + (end - at); ++end) {
            Frame& frame = frames_.at(pages[end]);
            run.push_back({frame.bytes, options_.page_size});
        }
        if (options_.encode) {
            encoded.resize(run.size() * options_.page_size);
            for (std::size_t page = 0; page < run.size(); ++page) {
                const auto bytes =
                    std::span(encoded).subspan(page * options_.page_size, options_.page_size);
                std::memcpy(bytes.data(), run[page].iov_base, bytes.size());
                options_.encode(first + static_cast<std::uint32_t>(page), bytes);
                run[page].iov_base = bytes.data();
            }
        }
        file_.WriteGathered(OffsetOf(first), run);
        // Not before: what a failure keeps from being written must be written later.
        for (; at < end; ++at) {
            Frame& frame = frames_.at(pages[at]);
            if (frame.changed) {
                frame.changed = false;
                changed_existing_ -= Matters(pages[at]) ? 1 : 0;
            }
        }
    }
}

void PagedFile::WriteEverything() {
    std::vector<std::uint32_t> existing;
    std::vector<std::uint32_t> appended;
    for (const auto& [page, frame] : frames_) {
        if (frame.changed) {
            (Matters(page) ? existing : appended).push_back(page);
        }
    }
    // A transaction that changed nothing leaves the file's time alone, too.
    if (existing.empty() && appended.empty() && !journal_) {
        return;
    }
    OpenJournal();
    if (!existing.empty()) {
        std::sort(existing.begin(), existing.end());
        JournalPages(existing, true);
        LockContent();
    }
    // New pages first: until existing ones refer to them they do no harm.
    WritePages(appended);
    WritePages(existing);
    if (file_.Size() != OffsetOf(page_count_)) {
        file_.Truncate(OffsetOf(page_count_));
    }
    file_.Sync();
    file_.MarkChanged();
    journal_->Remove();
    journal_.reset();
}

// Writes pages before the commit. Appended ones need the journal's header alone.
void PagedFile::WriteEarly(std::vector<std::uint32_t> pages) {
    OpenJournal();
    if (std::any_of(
            pages.begin(), pages.end(), [this](std::uint32_t page) { return Matters(page); })) {
        JournalPages(pages, false);
        LockContent();
    }
    WritePages(pages);
}

void PagedFile::SafePoint() {
    if (finished_.size() >= kRunPages) {
        std::vector<std::uint32_t> complete;
        for (const std::uint32_t page : finished_) {
            const auto frame = frames_.find(page);
            if (!Matters(page) && frame != frames_.end() && frame->second.changed) {
                complete.push_back(page);
            }
        }
        finished_.clear();
        std::sort(complete.begin(), complete.end());
        complete.erase(std::unique(complete.begin(), complete.end()), complete.end());
        if (!complete.empty()) {
            WriteEarly(complete);
            for (const std::uint32_t page : complete) {
                const auto frame = frames_.find(page);
                free_buffers_.push_back(frame->second.bytes);
                frames_.erase(frame);
            }
            ++view_;
        }
    }
    if (frames_.size() <= options_.cache_pages) {
        return;
    }
    std::vector<std::uint32_t> appended;
    std::vector<std::uint32_t> all;
    for (const auto& [page, frame] : frames_) {
        if (frame.changed) {
            all.push_back(page);
            if (!Matters(page)) {
                appended.push_back(page);
            }
        }
    }
    // Existing pages shut readers out for the rest of the transaction once they are written.
    if (changed_existing_ > options_.cache_pages) {
        WriteEarly(std::move(all));
    } else if (!appended.empty()) {
        WriteEarly(std::move(appended));
    }
    EvictUnchanged();
}

void PagedFile::EvictUnchanged() {
    for (auto frame = frames_.begin(); frame != frames_.end();) {
        if (frame->second.changed) {
            ++frame;
            continue;
        }
        free_buffers_.push_back(frame->second.bytes);
        frame = frames_.erase(frame);
    }
    ++view_;
}

}  // namespace vantry::file
