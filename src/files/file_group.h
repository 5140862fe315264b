#pragma once
// Files that change together: a table with its memo file and its index, of any sizes, with
// transactions over all of them. The first member leads: it carries the locks, and its journal is
// the one that counts. As with PagedFile, a transaction's changes to existing bytes stay in memory
// until it is committed, and bytes behind a file's former end may be written earlier, as nothing
// refers to them yet.
//
// Two kinds of transactions, as in PagedFile: a statement (Begin ... Commit or Rollback), and a row
// of a bulk load (BeginRow ... EndRow). Rows share a transaction after the first few of a burst; it
// is committed when it is a third of a second old, before any other statement, and by a thread of
// its own when no further row comes. A kill loses no older row than that. Where commits are slow,
// as with indexes of many rows, it gets older, up to some seconds: a load spends a fifth of its
// time on them at most.
//
// How a commit gets into several files at once: each changed file has a journal of its own
// (files/journal.h), the leader's is the first to be made and the first to be taken away. While the
// leader's is there, the transaction isn't complete, and all are played back; without it those of
// the others are what a complete one left behind.
//
// Other connections read at any time and see the state of the last commit. One connection, one
// FileGroup, one thread.

#include "files/checked_bytes.h"
#include "files/early_writeout.h"
#include "files/file.h"
#include "files/file_lock.h"
#include "files/journal.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace vantry::file {

struct FileGroupOptions {
    std::uint64_t max_size = UINT64_MAX;  // of each file, in bytes
    std::size_t cache_bytes = 8U << 20;   // of changed blocks, kept before they are written early
    std::chrono::milliseconds batch_age{350};  // of a bulk load's transaction, at least
};

class FileGroup {
public:
    using Member = std::size_t;
    static constexpr Member kLeader = 0;

    // Plays back an interrupted transaction first, whose journals are found by the names of the
    // leader and of `others`, which are paths of files that may be missing. `lock`: the bytes that
    // other programs lock while they write, held exclusively by each transaction; none if empty.
    FileGroup(File leader,
              ByteRange lock,
              std::span<const std::string> others,
              FileGroupOptions options);
    FileGroup(const FileGroup&) = delete;
    FileGroup& operator=(const FileGroup&) = delete;
    // Commits an open batch as well as it can: who must know calls Settle() first.
    ~FileGroup();

    // Outside of a transaction, before the first read of it.
    Member Add(File file, ByteRange lock);
    std::size_t MemberCount() const { return members_.size(); }

    const std::string& PathOf(Member member) const { return members_[member]->file.Path(); }
    FileStamp StampOfLeader() const { return Leader().file.Stamp(); }
    // Whether all members can be written.
    bool Writable() const;

    // ---- Reading, with the changes of the open transaction
    std::uint64_t SizeOf(Member member);
    // Bytes read: fewer than asked for only at the file's end.
    std::size_t Read(Member member, std::uint64_t offset, std::span<std::byte> out);
    // Grows whenever the files may have changed since they were read.
    std::uint64_t Version() const { return version_.load(std::memory_order_relaxed); }
    // At the start of a statement: makes the rows that this and other connections of the process
    // still keep in an open batch visible to everybody, and notices changes by others. Throws what
    // went wrong when a batch was committed in the background.
    void Settle();
    // Rows are batched from the first one on: whoever adds them calls Settle() behind the last.
    void ExpectManyRows() { single_rows_ = 0; }
    // Keeps other programs out until the group is closed. Throws when one is in.
    void HoldForeignLocks();

    // ---- Transactions
    // Throws when a file can't be written, or is in use for longer than the lock timeout. Begin()
    // and BeginRow() keep other threads' commits out until the matching end.
    void Begin();
    void Commit();  // when it throws, everything is as before Begin()
    void Rollback();
    void BeginRow();
    // `keep` false: the row failed before it changed anything.
    void EndRow(bool keep);
    // The row failed when it had changed something: its whole batch is taken back. To be called
    // while the exception is handled; throws it on, with the count of the rows that go with it.
    [[noreturn]] void FailRow();
    bool InTransaction() const { return state_ != State::Idle; }
    bool InStatement() const { return state_ == State::Statement; }
    // Called before each commit, to write what was gathered.
    void SetBeforeCommit(std::function<void()> action) { before_commit_ = std::move(action); }
    // Differs for each transaction: what was remembered of files in another one is stale.
    std::uint64_t TransactionNumber() const { return transaction_; }

    // ---- Inside a transaction
    // At most as far behind the end of the file as there are zeros to be filled in. Throws when the
    // file would grow above its limit.
    void Write(Member member, std::uint64_t offset, ByteSpan bytes);
    // Cuts the file, behind the commit: what lies there must not be referred to any more.
    void CutAfterCommit(Member member, std::uint64_t size);

private:
    enum class State : std::uint8_t { Idle, Statement, Batch };
    static constexpr std::size_t kBlock = 4096;

    struct Block {
        std::unique_ptr<std::byte[]> bytes;  // kBlock of them
        bool changed = false;
    };
    struct MemberFile {
        MemberFile(File opened, ByteRange range) : file(std::move(opened)), lock(range) {}

        File file;
        ByteRange lock;
        FileStamp stamp;
        bool locked = false;
        // Of the open transaction. Blocks that begin before the file's former end are kept here
        // and journalled before they are written; what lies behind them goes through `tail`.
        std::uint64_t base_size = 0;
        std::uint64_t size = 0;  // with its changes
        std::uint64_t tail_start = 0;
        std::map<std::uint64_t, Block> blocks;  // by number
        std::set<std::uint64_t> journaled;      // numbers of blocks
        std::vector<std::byte> tail;            // bytes from tail_written to size
        std::uint64_t tail_written = 0;
        EarlyWriteout writeout;
        std::uint64_t reserved = 0;  // size that the file has been given in advance
        std::optional<std::uint64_t> cut;
        std::unique_ptr<Journal> journal;

        bool Changed() const { return size != base_size || !blocks.empty(); }
    };

    void BumpVersion() {
        version_.store(version_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void NoteStamps(bool own_change);
    void StartReading();
    void StopReading() { Unlock(Leader().file, LockByte::Content); }
    bool JournalIsThere() const;
    void RecoverIfInterrupted();
    void Recover();
    void PlayBackAll();
    void AcquireWriter();
    void ReleaseWriter();
    void LockOthersOut();
    void LetOthersIn();
    // `failing`: rows of the batch that the caller reports as failed himself.
    void CommitOpen(std::uint32_t failing = 0);
    void RollbackOpen();
    [[noreturn]] void FailOpen(std::uint32_t lost_rows);
    void WriteEverything();
    void WriteBlocks(bool last);
    void FlushTail(MemberFile& member);
    void OpenJournals();
    void OpenJournal(MemberFile& member);
    void LockContent();
    Block& BlockOf(MemberFile& member, std::uint64_t number);
    std::size_t ReadChanged(MemberFile& member, std::uint64_t offset, std::span<std::byte> out);
    void Grow(MemberFile& member, std::uint64_t end);
    void WriteTail(MemberFile& member, std::uint64_t offset, ByteSpan bytes);
    void FlushSiblings();
    void FlushForSibling(const FileStamp& stamp);
    void WakeTimer();
    void RunTimer();
    void CommitIfDue();
    void ThrowPending();
    MemberFile& Leader() { return *members_[kLeader]; }
    const MemberFile& Leader() const { return *members_[kLeader]; }

    std::vector<std::unique_ptr<MemberFile>> members_;
    std::vector<std::string> other_paths_;
    FileGroupOptions options_;
    std::recursive_mutex mutex_;

    bool stamps_are_recent_ = true;
    std::atomic<std::uint64_t> version_ = 1;  // changed under the mutex alone
    std::atomic<State> state_ = State::Idle;
    std::uint64_t transaction_ = 0;
    std::size_t kept_blocks_ = 0;  // changed ones
    bool content_locked_ = false;
    bool holds_foreign_locks_ = false;
    std::function<void()> before_commit_;

    std::chrono::nanoseconds batch_age_;  // at which the open batch is committed
    std::chrono::steady_clock::time_point batch_start_;
    std::chrono::steady_clock::time_point last_commit_;
    std::uint32_t burst_ = 0;
    std::uint32_t batch_rows_ = 0;
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
