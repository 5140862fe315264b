// How the pages of a transaction get into the file, whole or not at all. At the commit the former
// content of existing pages goes into the journal first, then new pages are written, then existing
// ones; taking the journal away is the commit. A load that is larger than the memory for pages
// writes some earlier (SafePoint), new ones where it can: an existing page shuts readers out from
// then on. Easy to get wrong: a page counts as unchanged only when its write went well; and a file
// that isn't as it was left, or whose journal has gone already, is not cut.

#include "files/paged_file.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace vantry::file {
namespace {

constexpr std::size_t kRunPages = 64;  // complete pages written together

}  // namespace

void PagedFile::StartTransaction() {
    base_pages_ = PagesIn(file_.length);
    page_count_ = base_pages_;
    reserved_ = file_.length;
}

void PagedFile::BeginRow(bool undo) {
    const bool first = EnterRow();
    // Images of the first row are kept in any case: BeginRow promises that it can be taken back.
    undo_ = undo || first;
    ++mark_;
    BumpVersion();
    pages_at_mark_ = page_count_;
}

void PagedFile::EndRow(bool keep) {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    const bool in_statement = InStatement();
    if (!keep && undo_) {
        try {
            UndoRow();
        } catch (...) {
            if (in_statement) {
                half_row_ = true;
                throw;
            }
            FailOpen(batch_rows_);
        }
    }
    undo_ = false;
    images_.clear();
    if (in_statement) {
        return keep ? SafePoint() : void();
    }
    if (!keep || CountRow()) {
        return;
    }
    try {
        SafePoint();
    } catch (...) {
        FailOpen(batch_rows_ - 1);
    }
    CommitIfOldOrWanted();
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
    // Their numbers are given to other pages by the next row.
    std::erase_if(finished_, [this](std::uint32_t page) { return page >= pages_at_mark_; });
    page_count_ = pages_at_mark_;
    ++view_;
}

// Where no byte that was there before has been changed, it is enough to cut off what was added; a
// file that somebody else has cut isn't touched at all.
void PagedFile::TakeBack() {
    if (!journal_) {
        return;
    }
    journal_.reset();
    // Without a journal the transaction had been committed when it failed: cutting the file would
    // take pages from under those that refer to them.
    if (!JournalIsThere()) {
        return;
    }
    const auto named = StampOf(Path());
    const bool ours = named && named->SameFile(file_.stamp);
    if (content_locked_ && ours) {
        PlayBack(file_.file, options_.page_size);
    }
    if (file_.file.Size() == file_.length && file_.length > OffsetOf(base_pages_)) {
        file_.Truncate(OffsetOf(base_pages_));
    }
    RemoveLeftJournal(Path());
}

void PagedFile::OpenJournal() {
    if (!journal_) {
        journal_ = std::make_unique<Journal>(file_.file, options_.page_size, OffsetOf(base_pages_));
    }
}

// Puts the former content of existing pages into the journal, and the sums of their new one.
void PagedFile::JournalPages(std::span<const std::uint32_t> pages) {
    std::vector<std::byte> former(options_.page_size);
    for (const std::uint32_t page : pages) {
        if (!Matters(page)) {
            continue;
        }
        if (journaled_.insert(page).second) {
            file_.file.ReadExactly(OffsetOf(page), former);
            journal_->AddImage(page, former);
        }
        std::span<const std::byte> replacement(frames_.at(page).bytes, options_.page_size);
        if (options_.encode) {
            std::memcpy(encoded_.data(), replacement.data(), replacement.size());
            options_.encode(page, encoded_);
            replacement = encoded_;
        }
        journal_->AddReplacement(page, replacement);
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
    if (half_row_) {
        throw std::bad_alloc();  // what it was that kept the row from being taken back
    }
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
    RequireAsLeft();
    if (!existing.empty()) {
        std::sort(existing.begin(), existing.end());
        JournalPages(existing);
        LockContent();
    }
    // New pages first: until existing ones refer to them they do no harm.
    WritePages(appended);
    WritePages(existing);
    // Room that was reserved and not used goes back before the commit.
    if (file_.length != OffsetOf(page_count_)) {
        file_.Truncate(OffsetOf(page_count_));
    }
    file_.file.Sync();
    file_.file.MarkChanged();
    RequireAsLeft();
    journal_->Remove();
    journal_.reset();
}

// Writes pages before the commit. Appended ones need the journal's header alone.
void PagedFile::WriteEarly(std::vector<std::uint32_t> pages) {
    OpenJournal();
    RequireAsLeft();
    if (std::any_of(
            pages.begin(), pages.end(), [this](std::uint32_t page) { return Matters(page); })) {
        JournalPages(pages);
        LockContent();
    }
    WritePages(pages);
}

void PagedFile::SafePoint() {
    if (finished_.size() >= kRunPages) {
        std::vector<std::uint32_t> complete;
        for (const std::uint32_t page : finished_) {
            const auto frame = frames_.find(page);
            // Pages that existed before stay: written early, they would shut readers out.
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
