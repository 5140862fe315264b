// Locks, batches and what a commit is bound to. A read takes the shared lock on the content and
// looks whether the files' time stamps are those that it knows: if not, some other program has
// written, and what is kept above is out of date (the version goes up). Easy to get wrong: file
// systems stamp times coarsely, so a stamp that was young when it was read proves nothing; a
// journal beside the file means that its writer died, unless it still holds the writer's lock; and
// a name may have come to stand for another file, into which nothing of ours may go.

#include "files/file_transactions.h"

#include "files/file_errors.h"
#include "files/file_lock.h"
#include "files/left_files.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <utility>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kRowsPerLook = 64;  // at the clock
constexpr std::chrono::milliseconds kBurstGap{100};
constexpr int kLoadPerCommit = 4;  // of the time that a commit takes
constexpr std::chrono::microseconds kBetweenTries{50};
constexpr std::chrono::milliseconds kPatienceOfABatch{60'000};
// A time of change younger than this when it was read may stay the same through another change.
constexpr std::int64_t kClockGrain_ns = 20'000'000;

std::int64_t NowAsFileTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 +
           static_cast<std::int64_t>(now.tv_nsec);
}

}  // namespace

// What a failing call has got done counts, too: a full disk takes part of a write.
template <typename Action>
void WrittenFile::Grow(Action&& action) {
    try {
        action();
    } catch (...) {
        length = std::max(length, file.Size());
        throw;
    }
}

void WrittenFile::Write(std::uint64_t offset, std::span<const std::byte> data) {
    Grow([&] { file.Write(offset, data); });
    length = std::max(length, offset + data.size());
}

void WrittenFile::WriteGathered(std::uint64_t offset, std::span<iovec> pieces) {
    std::uint64_t end = offset;
    for (const iovec& piece : pieces) {
        end += piece.iov_len;
    }
    Grow([&] { file.WriteGathered(offset, pieces); });
    length = std::max(length, end);
}

// Growing would hide that somebody has cut the file, with a hole where its pages were.
void WrittenFile::RequireLength() const {
    if (const auto now = file.Size(); now != length) {
        throw ResizedWhileOpen(file.Path(), length, now);
    }
}

void WrittenFile::SetAside(std::uint64_t offset, std::uint64_t bytes) {
    RequireLength();
    file.SetAside(offset, bytes);
}

void WrittenFile::Reserve(std::uint64_t offset, std::uint64_t bytes) {
    RequireLength();
    bool grown = false;
    Grow([&] { grown = file.Reserve(offset, bytes); });
    if (grown) {
        length = std::max(length, offset + bytes);
    }
}

void WrittenFile::Truncate(std::uint64_t size) {
    file.Truncate(size);
    length = size;
}

void FileTransactions::Attach(WrittenFile& file) {
    files_.push_back(&file);
    file.stamp = file.file.Stamp();
    stamps_are_recent_ = true;
}

// ---- Reading ----------------------------------------------------------------------------------

void FileTransactions::NoteStamps(bool own_change) {
    bool changed = own_change || stamps_are_recent_;
    bool recent = false;
    for (WrittenFile* const file : files_) {
        const FileStamp now = file->file.Stamp();
        changed = changed || !(now == file->stamp);
        // A marked time differs from that of any later change, however soon it comes.
        recent = recent || (!now.marked && NowAsFileTime() - now.modified_ns < kClockGrain_ns);
        file->stamp = now;
    }
    if (changed) {
        BumpVersion();
        foreign_changes_ += own_change ? 0 : 1;
    }
    stamps_are_recent_ = recent;
}

void FileTransactions::RecoverIf(bool journal_is_there) {
    if (journal_is_there && !LockedByOther(First().file, LockByte::Writer, LockKind::Shared)) {
        Recover();
    }
}

void FileTransactions::Recover() {
    File* target = &First().file;
    File writable;
    // Whoever only reads must put the file right, too: what it would read is half of a change.
    if (!target->Writable()) {
        writable = File::Open(target->Path(), OpenMode::ReadWrite);
        target = &writable;
    }
    // Before anything is believed: another reader may be playing the same journal back.
    Lock(*target, LockByte::Writer, LockKind::Exclusive);
    try {
        Lock(*target, LockByte::Content, LockKind::Exclusive);
        PlayBackJournals(*target);
    } catch (...) {
        Unlock(*target, LockByte::Content);
        Unlock(*target, LockByte::Writer);
        throw;
    }
    Unlock(*target, LockByte::Content);
    Unlock(*target, LockByte::Writer);
}

void FileTransactions::StartReading() {
    Lock(First().file, LockByte::Content, LockKind::Shared);
    const bool was_recent = stamps_are_recent_;
    const auto before = Version();
    NoteStamps(false);
    // Whoever changed it may have died over it. A living writer can't change what is there while we
    // hold the lock, so its journal doesn't matter yet.
    if ((was_recent || before != Version()) && JournalIsThere() &&
        !LockedByOther(First().file, LockByte::Writer, LockKind::Shared)) {
        StopReading();
        Recover();
        Lock(First().file, LockByte::Content, LockKind::Shared);
        NoteStamps(true);
    }
}

void FileTransactions::StopReading() {
    Unlock(First().file, LockByte::Content);
}

bool FileTransactions::TryReading(const std::function<bool()>& read,
                                  std::uint64_t& version,
                                  int tries) {
    if (state_ != State::Idle) {
        return false;
    }
    std::unique_lock lock(mutex_, std::try_to_lock);
    // Never for good: a transaction of the connection's keeps the mutex to its end.
    for (; !lock.owns_lock() && tries > 1 && state_ == State::Idle; --tries) {
        std::this_thread::sleep_for(kBetweenTries);
        lock.try_lock();
    }
    // Again, under the lock: the first look only saves the wait for it.
    if (!lock.owns_lock() || state_ != State::Idle || stamps_are_recent_) {
        return false;
    }
    bool done = false;
    try {
        if (!TryLock(First().file, LockByte::Content, LockKind::Shared)) {
            return false;
        }
        if (First().file.Stamp() == First().stamp) {
            done = read();
            version = Version();
        }
    } catch (const std::exception&) {
        // The connection's thread meets it again, and reports it.
        done = false;
    }
    StopReading();
    return done;
}

void FileTransactions::Settle() {
    const std::lock_guard lock(mutex_);
    ThrowPending();
    if (state_ == State::Batch) {
        CommitOpen();
    }
    if (state_ == State::Idle) {
        FlushSiblings();
        StartReading();
        StopReading();
        // The load ends here: what it wrote must still be there.
        if (std::exchange(rows_to_settle_, false)) {
            RequireNamed(true);
            for (const WrittenFile* const file : files_) {
                FileStamp left = file->stamp;
                left.size = file->length;
                NoteLeft(file->file.Path(), left, Afterwards::Stays);
            }
        }
    }
}

// ---- Still the same files ---------------------------------------------------------------------

// What was committed of a bulk load is there as long as the file under the name is ours and no
// shorter; other connections may have made it longer.
void FileTransactions::RequireNamed(bool length) const {
    for (const WrittenFile* const file : files_) {
        const std::string& path = file->file.Path();
        const auto named = StampIfThere(path);
        if (!named) {
            throw TakenAwayWhileOpen(path);
        }
        if (!named->SameFile(file->stamp)) {
            throw ReplacedWhileOpen(path);
        }
        if (length && named->size < file->length) {
            throw ResizedWhileOpen(path, file->length, named->size);
        }
    }
}

// Within a transaction nobody else may touch them at all.
void FileTransactions::RequireAsLeft() const {
    RequireNamed(false);
    for (const WrittenFile* const file : files_) {
        if (const auto now = file->file.Size(); now != file->length) {
            throw ResizedWhileOpen(file->file.Path(), file->length, now);
        }
    }
}

// ---- Transactions -----------------------------------------------------------------------------

void FileTransactions::AcquireWriter() {
    for (const WrittenFile* const file : files_) {
        if (!file->file.Writable()) {
            throw OpenedReadOnly(file->file.Path());
        }
    }
    FlushSiblings();
    File& first = First().file;
    // By the turn a bulk load sees that another connection waits, and ends its batch.
    Lock(first, LockByte::Turn, LockKind::Exclusive);
    try {
        Lock(first, LockByte::Writer, LockKind::Exclusive);
    } catch (...) {
        Unlock(first, LockByte::Turn);
        throw;
    }
    Unlock(first, LockByte::Turn);
    try {
        LockOthersOut();
        // Not before: the former holder of the lock may have replaced a file.
        RequireNamed(rows_to_settle_);
        for (const WrittenFile* const file : files_) {
            RequireLeft(file->file.Path());
        }
        // Recover gives the writer's lock back at its end; whoever gets it in between may die, too.
        while (JournalIsThere()) {
            Recover();
            Lock(first, LockByte::Writer, LockKind::Exclusive);
        }
        RemoveLeftovers();
        NoteStamps(false);
    } catch (...) {
        LetOthersIn();
        Unlock(first, LockByte::Writer);
        throw;
    }
    for (WrittenFile* const file : files_) {
        file->length = file->start_length = file->stamp.size;
    }
    StartTransaction();
    ++transaction_;
}

void FileTransactions::ReleaseWriter() {
    // Before the locks go: what is kept of the transaction is nobody's once others may write.
    ForgetTransaction();
    if (content_locked_) {
        Unlock(First().file, LockByte::Content);
        content_locked_ = false;
    }
    LetOthersIn();
    Unlock(First().file, LockByte::Writer);
    state_ = State::Idle;
}

void FileTransactions::LockContent() {
    if (!content_locked_) {
        // The rows of a batch were accepted before: a reader that stalls mustn't cost them.
        const bool batch = state_ == State::Batch;
        LockPatiently(First().file,
                      LockByte::Content,
                      LockKind::Exclusive,
                      batch ? kPatienceOfABatch : std::chrono::milliseconds::zero());
        content_locked_ = true;
    }
}

void FileTransactions::Begin() {
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

void FileTransactions::Commit() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    CommitOpen();
}

void FileTransactions::Rollback() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    RollbackOpen();
}

void FileTransactions::ExpectSlowCommits() {
    const std::lock_guard lock(mutex_);
    batch_age_ = least_age_ = most_age_;
}

bool FileTransactions::EnterRow() {
    mutex_.lock();
    try {
        ThrowPending();
        if (state_ != State::Idle) {
            return false;
        }
        AcquireWriter();
        state_ = State::Batch;
        batch_start_ = Clock::now();
        batch_rows_ = 0;
        // Rows that come one by one, from a user's hand say, are each made durable at once; only a
        // burst of them is a load.
        if (batch_start_ - last_commit_ > kBurstGap) {
            burst_ = 0;
        }
        if (burst_ >= single_rows_) {
            WakeTimer();
        }
        return true;
    } catch (...) {
        mutex_.unlock();
        throw;
    }
}

bool FileTransactions::CountRow() {
    ++batch_rows_;
    if (burst_ >= single_rows_) {
        return false;
    }
    ++burst_;
    CommitOpen(1);
    return true;
}

void FileTransactions::CommitIfOldOrWanted() {
    if (batch_rows_ % kRowsPerLook == 0 &&
        (Clock::now() - batch_start_ >= batch_age_ ||
         LockedByOther(First().file, LockByte::Turn, LockKind::Exclusive))) {
        CommitOpen(1);
    }
}

void FileTransactions::CommitOpen(std::uint32_t failing) {
    const std::uint32_t former_rows = state_ == State::Batch ? batch_rows_ - failing : 0;
    const auto start = Clock::now();
    try {
        if (before_commit_) {
            before_commit_();
        }
        WriteEverything();
    } catch (...) {
        FailOpen(former_rows);
    }
    rows_to_settle_ = rows_to_settle_ || state_ == State::Batch;
    for (const WrittenFile* const file : files_) {
        NoteChanged(file->file.Path(), file->length);
    }
    last_commit_ = Clock::now();
    // The slower the disk, the longer a batch: commits take a fixed part of a load's time.
    batch_age_ = std::clamp<std::chrono::nanoseconds>(
        kLoadPerCommit * (last_commit_ - start), least_age_, most_age_);
    NoteStamps(true);
    ReleaseWriter();
}

// A file that was taken away or cut fails first with what isn't where it was to be read; why is
// what the user needs to know.
void FileTransactions::FailOpen(std::uint32_t lost_rows) {
    std::optional<DataError> reason;
    try {
        RequireNamed(true);
    } catch (const DataError& error) {
        reason = error;
    }
    RollbackOpen();
    if (reason) {
        throw RowsLost(*reason, lost_rows);
    }
    try {
        throw;
    } catch (const DataError& error) {
        throw RowsLost(error, lost_rows);
    } catch (const std::bad_alloc&) {
        if (lost_rows == 0) {
            throw;
        }
        throw RowsLost(OutOfMemory(First().file.Path()), lost_rows);
    }
}

void FileTransactions::RollbackOpen() {
    try {
        TakeBack();
    } catch (const std::exception&) {
        // The journal stays: the next program that opens the file plays it back. What went wrong
        // first is being reported.
    }
    for (WrittenFile* const file : files_) {
        file->length = std::min(file->length, file->start_length);
    }
    try {
        NoteStamps(true);
    } catch (const std::exception&) {
        stamps_are_recent_ = true;  // unknown: read everything anew next time
        BumpVersion();
    }
    ReleaseWriter();
}

}  // namespace vantry::file
