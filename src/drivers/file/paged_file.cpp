#include "drivers/file/paged_file.h"

#include "drivers/file/file_errors.h"
#include "drivers/file/file_lock.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kChunkPages = 64;        // of the page memory
constexpr std::size_t kRunPages = 64;          // complete pages written together
constexpr std::uint64_t kMostGrowPages = 256;  // that the file is given at once
constexpr int kFlushTries = 50;
constexpr std::uint32_t kRowsPerLook = 64;  // at the clock
constexpr std::chrono::milliseconds kBurstGap{100};
constexpr std::chrono::milliseconds kTimerTick{125};
constexpr int kQuietTicks = 16;
// A time of change younger than this when it was read may stay the same through another change.
constexpr std::int64_t kClockGrain_ns = 20'000'000;

// The connections of this process, so that one can make another's open batch visible.
struct Registry {
    std::mutex mutex;
    std::vector<PagedFile*> files;
};
Registry& AllFiles() {
    // Never destroyed: connections that live as long as the program are closed after its statics.
    static Registry& registry = *new Registry;
    return registry;
}

std::int64_t NowAsFileTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 +
           static_cast<std::int64_t>(now.tv_nsec);
}

}  // namespace

PagedFile::PagedFile(File file, PagedFileOptions options)
    : file_(std::move(file)), options_(std::move(options)), encoded_(options_.page_size) {
    RecoverIfInterrupted();
    NoteStamp(false);
    const std::lock_guard lock(AllFiles().mutex);
    AllFiles().files.push_back(this);
}

PagedFile::~PagedFile() {
    {
        const std::lock_guard lock(AllFiles().mutex);
        std::erase(AllFiles().files, this);
    }
    {
        const std::lock_guard lock(timer_mutex_);
        closing_ = true;
    }
    timer_wake_.notify_all();
    if (timer_.joinable()) {
        timer_.join();
    }
    const std::lock_guard lock(mutex_);
    try {
        if (state_ == State::Batch) {
            CommitOpen();
        } else if (state_ == State::Statement) {
            RollbackOpen();
            mutex_.unlock();  // of Begin()
        }
    } catch (const std::exception&) {
        // Nobody is left to tell; the file is as before the batch.
    }
}

// ---- Reading ----------------------------------------------------------------------------------

void PagedFile::NoteStamp(bool own_change) {
    const FileStamp now = file_.Stamp();
    if (own_change || stamp_is_recent_ || !(now == stamp_)) {
        BumpVersion();
        if (!own_change) {
            ++foreign_changes_;
        }
    }
    stamp_ = now;
    stamp_is_recent_ = !now.marked && NowAsFileTime() - now.modified_ns < kClockGrain_ns;
}

void PagedFile::RecoverIfInterrupted() {
    if (StampOf(Journal::PathFor(file_.Path())) &&
        !LockedByOther(file_, LockByte::Writer, LockKind::Shared)) {
        Recover();
    }
}

void PagedFile::Recover() {
    File* target = &file_;
    File writable;
    if (!file_.Writable()) {
        writable = File::Open(file_.Path(), OpenMode::ReadWrite);
        target = &writable;
    }
    Lock(*target, LockByte::Writer, LockKind::Exclusive);
    try {
        Lock(*target, LockByte::Content, LockKind::Exclusive);
        PlayBack(*target, options_.page_size);
    } catch (...) {
        Unlock(*target, LockByte::Content);
        Unlock(*target, LockByte::Writer);
        throw;
    }
    Unlock(*target, LockByte::Content);
    Unlock(*target, LockByte::Writer);
}

// Takes the shared lock on the content and finds out whether it changed since the last time.
void PagedFile::StartReading() {
    Lock(file_, LockByte::Content, LockKind::Shared);
    const FileStamp before = stamp_;
    const bool was_recent = stamp_is_recent_;
    NoteStamp(false);
    if (was_recent || !(before == stamp_)) {
        // Whoever changed it may have died over it. A living writer can't change pages while we
        // hold the lock, so its journal doesn't matter yet.
        if (StampOf(Journal::PathFor(file_.Path())) &&
            !LockedByOther(file_, LockByte::Writer, LockKind::Shared)) {
            Unlock(file_, LockByte::Content);
            Recover();
            Lock(file_, LockByte::Content, LockKind::Shared);
            NoteStamp(true);
        }
    }
}

std::uint32_t PagedFile::PageCount() {
    const std::lock_guard lock(mutex_);
    return state_ == State::Idle ? PagesIn(file_.Size()) : page_count_;
}

void PagedFile::ReadFromDisk(std::uint32_t first, std::span<std::byte> out) {
    file_.ReadExactly(OffsetOf(first), out);
    if (options_.transform) {
        for (std::size_t at = 0; at < out.size(); at += options_.page_size) {
            options_.transform(first++, out.subspan(at, options_.page_size));
        }
    }
}

std::uint64_t PagedFile::Read(std::uint32_t first, std::span<std::byte> out) {
    const std::lock_guard lock(mutex_);
    if (state_ == State::Idle) {
        StartReading();
        try {
            ReadFromDisk(first, out);
        } catch (...) {
            Unlock(file_, LockByte::Content);
            throw;
        }
        Unlock(file_, LockByte::Content);
        return version_;
    }
    // Runs of pages that aren't in memory come from the file, the others from memory.
    const auto count = static_cast<std::uint32_t>(out.size() / options_.page_size);
    for (std::uint32_t at = 0; at < count;) {
        const auto frame = frames_.find(first + at);
        if (frame != frames_.end()) {
            std::memcpy(out.data() + std::size_t{at} * options_.page_size,
                        frame->second.bytes,
                        options_.page_size);
            ++at;
            continue;
        }
        std::uint32_t end = at + 1;
        while (end < count && !frames_.contains(first + end)) {
            ++end;
        }
        ReadFromDisk(first + at,
                     out.subspan(std::size_t{at} * options_.page_size,
                                 std::size_t{end - at} * options_.page_size));
        at = end;
    }
    return version_;
}

bool PagedFile::TryRead(std::uint32_t first, std::span<std::byte> out, std::uint64_t& version) {
    if (state_ != State::Idle) {
        return false;
    }
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock() || state_ != State::Idle || stamp_is_recent_) {
        return false;
    }
    bool read = false;
    try {
        if (!TryLock(file_, LockByte::Content, LockKind::Shared)) {
            return false;
        }
        if (file_.Stamp() == stamp_) {
            ReadFromDisk(first, out);
            version = version_;
            read = true;
        }
    } catch (const std::exception&) {
        // The connection's thread meets it again, and tells it.
    }
    Unlock(file_, LockByte::Content);
    return read;
}

// ---- Other connections of this process --------------------------------------------------------

void PagedFile::FlushSiblings() {
    std::vector<PagedFile*> others;
    const std::lock_guard lock(AllFiles().mutex);
    for (PagedFile* const file : AllFiles().files) {
        if (file != this) {
            file->FlushForSibling(stamp_);
        }
    }
}

void PagedFile::FlushForSibling(const FileStamp& stamp) {
    // A statement under way on another thread ends by itself; its lock is waited for as another
    // process's would be.
    std::unique_lock lock(mutex_, std::try_to_lock);
    for (int tries = 0; !lock.owns_lock() && state_ == State::Batch && tries < kFlushTries;
         ++tries) {
        // Its timer or a thread that reads for it holds the mutex for a moment.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.try_lock();
    }
    if (!lock.owns_lock() || state_ != State::Batch || !stamp_.SameFile(stamp)) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

void PagedFile::ThrowPending() {
    if (pending_) {
        std::rethrow_exception(std::exchange(pending_, nullptr));
    }
}

void PagedFile::Settle() {
    const std::lock_guard lock(mutex_);
    ThrowPending();
    if (state_ == State::Batch) {
        CommitOpen();
    }
    if (state_ == State::Idle) {
        FlushSiblings();
        StartReading();
        Unlock(file_, LockByte::Content);
    }
}

void PagedFile::WakeTimer() {
    if (!timer_.joinable()) {
        try {
            timer_ = std::thread([this] { RunTimer(); });
        } catch (const std::exception&) {
            // Nobody would commit the batch when no further row comes: no batches, then.
            single_rows_ = UINT32_MAX;
        }
    } else if (timer_idle_) {
        {
            const std::lock_guard lock(timer_mutex_);
            timer_idle_ = false;
        }
        timer_wake_.notify_all();
    }
}

// Looks at the batch from time to time, so that a load doesn't have to wake it for each one.
void PagedFile::RunTimer() {
    std::unique_lock lock(timer_mutex_);
    int quiet_ticks = 0;
    while (!closing_) {
        if (quiet_ticks > kQuietTicks) {
            timer_idle_ = true;
            timer_wake_.wait(lock, [this] { return closing_ || !timer_idle_; });
            quiet_ticks = 0;
            continue;
        }
        timer_wake_.wait_for(lock, kTimerTick);
        if (closing_) {
            return;
        }
        if (state_ != State::Batch) {
            ++quiet_ticks;
            continue;
        }
        quiet_ticks = 0;
        lock.unlock();
        CommitIfDue();
        lock.lock();
    }
}

void PagedFile::CommitIfDue() {
    const std::lock_guard lock(mutex_);
    if (state_ != State::Batch || Clock::now() - batch_start_ < options_.batch_age) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

// ---- Transactions -----------------------------------------------------------------------------

void PagedFile::AcquireWriter() {
    if (!file_.Writable()) {
        throw OpenedReadOnly(file_.Path());
    }
    const auto named = StampOf(file_.Path());
    if (!named || !named->SameFile(stamp_)) {
        throw ReplacedWhileOpen(file_.Path());
    }
    FlushSiblings();
    Lock(file_, LockByte::Turn, LockKind::Exclusive);
    try {
        Lock(file_, LockByte::Writer, LockKind::Exclusive);
    } catch (...) {
        Unlock(file_, LockByte::Turn);
        throw;
    }
    Unlock(file_, LockByte::Turn);
    try {
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
            // The journal stays: whoever opens the file next plays it back. What went wrong first
            // is being reported.
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
        Lock(file_, LockByte::Content, LockKind::Exclusive);
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
        if (options_.transform) {
            std::memcpy(encoded_.data(), replacement.data(), replacement.size());
            options_.transform(page, encoded_);
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
        if (options_.transform) {
            encoded.resize(run.size() * options_.page_size);
            for (std::size_t page = 0; page < run.size(); ++page) {
                const auto bytes =
                    std::span(encoded).subspan(page * options_.page_size, options_.page_size);
                std::memcpy(bytes.data(), run[page].iov_base, bytes.size());
                options_.transform(first + static_cast<std::uint32_t>(page), bytes);
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
    if (existing.empty() && appended.empty() && !journal_) {
        return;
    }
    OpenJournal();
    if (!existing.empty()) {
        std::sort(existing.begin(), existing.end());
        JournalPages(existing, true);
        LockContent();
    }
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

// ---- Pages in memory --------------------------------------------------------------------------

std::byte* PagedFile::TakeBuffer() {
    if (free_buffers_.empty()) {
        const std::size_t page_size = options_.page_size;
        chunks_.push_back(std::make_unique<std::byte[]>(kChunkPages * page_size));
        // The last one is taken first: in the order of the addresses.
        for (std::size_t page = kChunkPages; page > 0; --page) {
            free_buffers_.push_back(chunks_.back().get() + (page - 1) * page_size);
        }
    }
    std::byte* const buffer = free_buffers_.back();
    free_buffers_.pop_back();
    return buffer;
}

void PagedFile::DropFrames() {
    constexpr std::size_t kKeptChunks = 4;
    frames_.clear();
    free_buffers_.clear();
    if (chunks_.size() > kKeptChunks) {
        chunks_.resize(kKeptChunks);
    }
    for (auto chunk = chunks_.rbegin(); chunk != chunks_.rend(); ++chunk) {
        for (std::size_t page = kChunkPages; page > 0; --page) {
            free_buffers_.push_back(chunk->get() + (page - 1) * options_.page_size);
        }
    }
    finished_.clear();
    journaled_.clear();
    renewed_.clear();
    images_.clear();
    changed_existing_ = 0;
    undo_ = false;
    ++view_;
}

PagedFile::Frame& PagedFile::Load(std::uint32_t page, bool read) {
    const auto [entry, fresh] = frames_.try_emplace(page);
    if (fresh) {
        std::byte* const buffer = TakeBuffer();
        entry->second.bytes = buffer;
        if (read) {
            try {
                ReadFromDisk(page, {buffer, options_.page_size});
            } catch (...) {
                free_buffers_.push_back(buffer);
                frames_.erase(page);
                throw;
            }
        }
    }
    return entry->second;
}

std::span<const std::byte> PagedFile::Look(std::uint32_t page) {
    return {Load(page, true).bytes, options_.page_size};
}

std::span<std::byte> PagedFile::Change(std::uint32_t page) {
    BumpVersion();
    Frame& frame = Load(page, true);
    if (undo_ && page < pages_at_mark_ && frame.mark != mark_) {
        Image image{page, frame.changed, std::make_unique<std::byte[]>(options_.page_size)};
        std::memcpy(image.bytes.get(), frame.bytes, options_.page_size);
        images_.push_back(std::move(image));
        frame.mark = mark_;
    }
    if (!frame.changed) {
        frame.changed = true;
        if (Matters(page)) {
            ++changed_existing_;
            if (!journaled_.contains(page)) {
                OpenJournal();
                journal_->ReserveImages(journaled_.size() + changed_existing_);
            }
        }
    }
    return {frame.bytes, options_.page_size};
}

std::span<std::byte> PagedFile::Renew(std::uint32_t page) {
    BumpVersion();
    Frame& frame = Load(page, false);
    if (frame.changed && Matters(page)) {
        --changed_existing_;
    }
    renewed_.insert(page);
    std::memset(frame.bytes, 0, options_.page_size);
    frame.changed = true;
    frame.mark = mark_;
    return {frame.bytes, options_.page_size};
}

std::uint32_t PagedFile::Append() {
    const std::uint64_t end = OffsetOf(page_count_) + options_.page_size;
    if (end > options_.max_size) {
        throw SizeLimit(file_.Path(), options_.max_size);
    }
    if (end > reserved_) {
        // A full disk shows here, for the row that needs the page, and not when earlier rows are
        // committed.
        OpenJournal();
        const std::uint64_t wanted =
            std::min(options_.max_size,
                     end + std::min<std::uint64_t>(page_count_ - base_pages_, kMostGrowPages) *
                               options_.page_size);
        file_.Reserve(reserved_, wanted - reserved_);
        reserved_ = wanted;
    }
    const std::uint32_t page = page_count_;
    Frame& frame = Load(page, false);
    std::memset(frame.bytes, 0, options_.page_size);
    frame.changed = true;
    frame.mark = mark_;
    BumpVersion();
    ++page_count_;
    return page;
}

}  // namespace vantry::file
