// Reading, other connections of the process, and the timer of batches. A read takes the shared lock
// on the content and looks whether the file's time stamp is the one that it knows: if not, some
// other program has written, and pages that are kept above are out of date (the version goes up).
// Easy to get wrong: file systems stamp times coarsely, so a stamp that was young when it was read
// proves nothing; a journal beside the file means that its writer died, unless it still holds the
// writer's lock; and a connection of the same thread that waits for another's open batch would wait
// forever, so it commits it first (FlushSiblings).

#include "files/paged_file.h"

#include "files/file_errors.h"
#include "files/file_lock.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFlushTries = 50;
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
        // A destructor can't report it; the file is as before the batch.
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
        // The process that changed it may have died over it. A living writer can't change pages
        // while we hold the lock, so its journal doesn't matter yet.
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
    if (options_.decode) {
        for (std::size_t at = 0; at < out.size(); at += options_.page_size) {
            options_.decode(first++, out.subspan(at, options_.page_size));
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
        // The connection's thread meets it again, and reports it.
    }
    Unlock(file_, LockByte::Content);
    return read;
}

// ---- Other connections of this process --------------------------------------------------------

void PagedFile::FlushSiblings() {
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
            // Without the thread a batch would stay open when no further row comes: no batches,
            // then.
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

}  // namespace vantry::file
