#pragma once
// What transactions over one file in pages (PagedFile) and over several that change together
// (FileGroup) have in common: locks, noticing what others changed, batches of rows and their timer,
// the other connections of the process.
//
// Two kinds of transactions. A statement: Begin() ... Commit() or Rollback(). A row of a bulk load:
// BeginRow() ... EndRow(); after the first few rows of a burst these share one transaction, which
// is committed when it is 350 ms old (batch_age), when it has changed much, and before any other
// statement; a thread looks at it every 125 ms in case no further row comes. A kill loses rows of
// the last half second at most. Where commits are slow, as with indexes of many rows, a FileGroup's
// batch gets older, up to three seconds, as long as further rows come: a load spends a fifth of its
// time on them at most.
//
// A row inside a statement, Begin() BeginRow() EndRow() ... Commit(), is a part of it that can be
// taken back alone: so several statements of a user's become one transaction (PagedFile alone).
//
// Before a commit, and before the end of a bulk load, the files are still those under their names
// and as long as they were left; what isn't is an error (DataError::TargetLost).
//
// Other connections, of this or another process, read at any time: their reads see the state of the
// last commit. One connection, one thread.

#include "files/file.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace vantry::file {

// A file that transactions change, and how they left it.
struct WrittenFile {
    explicit WrittenFile(File opened) : file(std::move(opened)) {}

    void Write(std::uint64_t offset, std::span<const std::byte> data);
    void WriteGathered(std::uint64_t offset, std::span<iovec> pieces);
    void Reserve(std::uint64_t offset, std::uint64_t bytes);
    void SetAside(std::uint64_t offset, std::uint64_t bytes);
    void Truncate(std::uint64_t size);

    File file;
    FileStamp stamp;                 // when it was looked at last
    std::uint64_t length = 0;        // that it was left with
    std::uint64_t start_length = 0;  // before the open transaction

private:
    template <typename Action>
    void Grow(Action&& action);
    void RequireLength() const;
};

class FileTransactions {
public:
    virtual ~FileTransactions() = default;
    FileTransactions(const FileTransactions&) = delete;
    FileTransactions& operator=(const FileTransactions&) = delete;

    // Grows whenever the files may have changed since they were read.
    std::uint64_t Version() const { return version_.load(std::memory_order_relaxed); }
    // At the start of a statement: makes the rows that this and other connections of the process
    // still keep in an open batch visible to everybody, and notices changes by others. Throws what
    // went wrong when a batch was committed in the background.
    void Settle();
    // Rows are batched from the first one on: whoever adds them calls Settle() behind the last.
    void ExpectManyRows() { single_rows_ = 0; }

    // A commit has so much to do that a batch may get as old as any, as long as rows come.
    void ExpectSlowCommits();

    // Throws when a file can't be written, or is in use for longer than the lock timeout. Begin()
    // and BeginRow() keep other threads' commits out until the matching end.
    void Begin();
    void Commit();  // when it throws, everything is as before Begin()
    void Rollback();
    // The state itself is guarded by the transaction's own thread: a batch may be committed by the
    // timer between two rows.
    bool InTransaction() const { return state_ != State::Idle; }
    bool InStatement() const { return state_ == State::Statement; }
    // Called before each commit, to write what was gathered.
    void SetBeforeCommit(std::function<void()> action) { before_commit_ = std::move(action); }
    // Differs for each transaction: what was remembered of the files in another one is stale.
    std::uint64_t TransactionNumber() const { return transaction_; }

protected:
    enum class State : std::uint8_t { Idle, Statement, Batch };

    // A batch is committed at `batch_age`, or at up to `oldest` where commits are slow.
    FileTransactions(std::chrono::milliseconds batch_age, std::chrono::milliseconds oldest)
        : least_age_(batch_age), most_age_(std::max(batch_age, oldest)), batch_age_(batch_age) {}
    // The first file carries the locks. They outlive the call to Close().
    void Attach(WrittenFile& file);
    // The last step of a constructor; the first of a destructor, which commits an open batch as
    // well as it can.
    void Register();
    void Close() noexcept;

    // ---- What each has its own way of
    virtual bool JournalIsThere() const = 0;
    // Under the locks; `first` is the first file, open for writing.
    virtual void PlayBackJournals(File& first) = 0;
    // For the time of a transaction: locks of other programs' making, and what must be out of its
    // way.
    virtual void LockOthersOut() {}
    virtual void LetOthersIn() {}
    virtual void RemoveLeftovers() {}
    // The lock is held, `stamp` and `length` of each file are fresh.
    virtual void StartTransaction() = 0;
    virtual void WriteEverything() = 0;
    // Brings the files to where they were; what it throws leaves that to whoever opens them next.
    virtual void TakeBack() = 0;
    virtual void ForgetTransaction() = 0;

    // ---- For them
    WrittenFile& First() { return *files_.front(); }
    const WrittenFile& First() const { return *files_.front(); }
    void BumpVersion() {
        version_.store(version_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void NoteStamps(bool own_change);
    void RecoverIf(bool journal_is_there);
    // The shared lock on the content, and whether it changed since the last time.
    void StartReading();
    void StopReading();
    // For a thread other than the connection's, which may go on using the first file meanwhile:
    // calls `read` only when nothing stands against it, neither a transaction nor a change by
    // others that the connection hasn't noticed yet. False: it wasn't called, said so itself or
    // threw; the connection's own thread must read. `version` is that of what was read. `tries`: to
    // get at the files while the connection's thread reads.
    bool TryReading(const std::function<bool()>& read, std::uint64_t& version, int tries = 1);
    // Shuts readers out until the end of the transaction.
    void LockContent();
    // Throws if a file isn't any more what it was left as.
    void RequireAsLeft() const;
    // Locks the mutex. True: the row is the first of its transaction, which it has begun.
    bool EnterRow();
    // True: the row is committed, because it is one of those that go one by one.
    bool CountRow();
    void CommitIfOldOrWanted();
    // `failing`: rows of the batch that the caller reports as failed himself.
    void CommitOpen(std::uint32_t failing = 0);
    void RollbackOpen();
    // Takes the transaction back and throws on, with the count of rows of the batch that go too. To
    // be called while an exception is handled, whatever it is.
    [[noreturn]] void FailOpen(std::uint32_t lost_rows);
    void ReleaseWriter();

    std::recursive_mutex mutex_;
    std::atomic<State> state_ = State::Idle;
    std::uint64_t foreign_changes_ = 0;
    bool stamps_are_recent_ = true;
    bool content_locked_ = false;
    std::uint32_t batch_rows_ = 0;

private:
    void AcquireWriter();
    void Recover();
    // `length` too: none may be shorter than it was left.
    void RequireNamed(bool length) const;
    void FlushSiblings();
    void FlushForSibling(const FileStamp& stamp);
    void WakeTimer();
    void RunTimer();
    void CommitIfDue();
    void ThrowPending();

    std::vector<WrittenFile*> files_;
    std::chrono::nanoseconds least_age_;
    const std::chrono::nanoseconds most_age_;
    std::chrono::nanoseconds batch_age_;      // at which the open batch is committed
    std::atomic<std::uint64_t> version_ = 1;  // changed under the mutex alone
    std::uint64_t transaction_ = 0;
    std::function<void()> before_commit_;
    bool rows_to_settle_ = false;  // committed, and not settled yet

    std::chrono::steady_clock::time_point batch_start_;
    std::chrono::steady_clock::time_point last_commit_;
    std::uint32_t burst_ = 0;
    std::uint32_t rows_at_last_look_ = 0;  // of the timer
    static constexpr std::uint32_t kSingleRows = 4;
    std::uint32_t single_rows_ = kSingleRows;  // of a burst, committed one by one
    std::exception_ptr pending_;
    std::mutex timer_mutex_;
    std::condition_variable timer_wake_;
    std::atomic<bool> timer_idle_ = false;
    bool closing_ = false;
    std::thread timer_;
};

}  // namespace vantry::file
