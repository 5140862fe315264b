#pragma once
// A database file in pages, with transactions: a transaction's changes stay in memory until it is
// committed, then go through the journal, so that the file holds each transaction whole or not at
// all whatever kills the process. Pages behind the former end may be written earlier: nothing
// refers to them yet.
//
// Two kinds of transactions. A statement: Begin() ... Commit() or Rollback(). A row of a bulk load:
// BeginRow() ... EndRow(); after the first few rows of a burst these share one transaction, which
// is committed when it is 350 ms old (batch_age), when it has changed much, and before any other
// statement; a thread looks at it every 125 ms in case no further row comes. A kill loses rows of
// the last half second at most.
//
// Other connections, of this or another process, read at any time: their reads see the state of the
// last commit. One connection, one PagedFile, one thread.

#include "files/file.h"
#include "files/journal.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vantry::file {

struct PagedFileOptions {
    std::uint32_t page_size = 4096;            // 512 to 4096, a power of two
    std::uint64_t max_size = UINT64_MAX;       // of the file, in bytes
    std::size_t cache_pages = 2048;            // changed pages kept before they are written early
    std::chrono::milliseconds batch_age{350};  // of a bulk load's transaction
    // Make a page as it lies in the file plain and back, in place; nothing: pages are plain. decode
    // is called from any thread.
    std::function<void(std::uint32_t page, std::span<std::byte> bytes)> decode;
    std::function<void(std::uint32_t page, std::span<std::byte> bytes)> encode;
};

class PagedFile {
public:
    // Plays back an interrupted transaction first. The path may be a symbolic link.
    PagedFile(File file, PagedFileOptions options);
    PagedFile(const PagedFile&) = delete;
    PagedFile& operator=(const PagedFile&) = delete;
    // Commits an open batch as well as it can: who must know calls Settle() first.
    ~PagedFile();

    const std::string& Path() const { return file_.Path(); }
    bool Writable() const { return file_.Writable(); }
    std::uint32_t PageSize() const { return options_.page_size; }

    // ---- Reading
    // Whole pages; with those of the open transaction.
    std::uint32_t PageCount();
    // Pages from `first` on; `out` is a multiple of the page size. With the changes of the open
    // transaction. Returns the version of what was read.
    std::uint64_t Read(std::uint32_t first, std::span<std::byte> out);
    // The same from a thread other than the connection's, which may go on using it meanwhile: only
    // when nothing stands against it, neither a transaction nor a change by others that the
    // connection hasn't noticed yet. False: the connection's own thread must read. `version` is
    // that of what was read.
    bool TryRead(std::uint32_t first, std::span<std::byte> out, std::uint64_t& version);
    // Grows whenever pages may have changed since they were read.
    std::uint64_t Version() const { return version_.load(std::memory_order_relaxed); }
    // At the start of a statement: makes the rows that this and other connections of the process
    // still keep in an open batch visible to everybody, and notices changes by others. Throws what
    // went wrong when a batch was committed in the background.
    void Settle();
    // Rows are batched from the first one on: whoever adds them calls Settle() behind the last.
    void ExpectManyRows() { single_rows_ = 0; }
    // Counts the times when another connection was found to have changed the file.
    std::uint64_t ForeignChanges() const { return foreign_changes_; }

    // ---- Transactions
    // Throws when the file can't be written, or is in use for longer than the lock timeout. Begin()
    // and BeginRow() keep other threads' commits out until the matching end.
    void Begin();
    void Commit();  // when it throws, everything is as before Begin()
    void Rollback();
    // `undo`: whether EndRow(false) can take back this row's changes alone; it always can for the
    // first row of a transaction.
    void BeginRow(bool undo);
    void EndRow(bool keep);
    // The state itself is guarded by the transaction's own thread: a batch may be committed by the
    // timer between two rows.
    bool InTransaction() const { return state_ != State::Idle; }
    bool InStatement() const { return state_ == State::Statement; }
    // Called before each commit, to put what was gathered into pages.
    void SetBeforeCommit(std::function<void()> action) { before_commit_ = std::move(action); }
    // Differs for each transaction: what was remembered of pages in another one is stale.
    std::uint64_t TransactionNumber() const { return transaction_; }

    // ---- Inside a transaction
    // The page for changing. The view is good as long as ViewNumber() stays the same.
    std::span<std::byte> Change(std::uint32_t page);
    // The page for looking at, likewise.
    std::span<const std::byte> Look(std::uint32_t page);
    // A new page of zeros behind the last one.
    std::uint32_t Append();
    // An existing page whose former content matters to nobody, as zeros: it isn't journalled.
    std::span<std::byte> Renew(std::uint32_t page);
    // The page is full or otherwise complete: it will hardly be touched again.
    void Finish(std::uint32_t page) { finished_.push_back(page); }
    // No view is in use: pages may be written early and views become stale.
    void SafePoint();
    std::uint64_t ViewNumber() const { return view_; }

private:
    enum class State : std::uint8_t { Idle, Statement, Batch };
    struct Frame {
        std::byte* bytes = nullptr;
        std::uint64_t mark = 0;  // the row that saved an image of it last
        bool changed = false;
    };
    struct Image {
        std::uint32_t page;
        std::unique_ptr<std::byte[]> bytes;
    };
    using Frames = std::unordered_map<std::uint32_t, Frame>;

    std::uint64_t OffsetOf(std::uint32_t page) const {
        return static_cast<std::uint64_t>(page) * options_.page_size;
    }
    std::uint32_t PagesIn(std::uint64_t size) const {
        return static_cast<std::uint32_t>(size / options_.page_size);
    }

    // Whether a change of the page must be taken back after an interruption.
    bool Matters(std::uint32_t page) const {
        return page < base_pages_ && !renewed_.contains(page);
    }

    void BumpVersion() {
        version_.store(version_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void StartReading();
    void NoteStamp(bool own_change);
    void RecoverIfInterrupted();
    void Recover();
    void AcquireWriter();
    void ReleaseWriter();
    // `failing`: rows of the batch that the caller reports as failed himself.
    void CommitOpen(std::uint32_t failing = 0);
    void RollbackOpen();
    // Takes the transaction back and throws on, with the count of rows of the batch that go too.
    [[noreturn]] void FailOpen(std::uint32_t lost_rows);
    void WriteEverything();
    void WriteEarly(std::vector<std::uint32_t> pages);
    void WritePages(std::vector<std::uint32_t>& pages);
    void JournalPages(std::span<const std::uint32_t> pages, bool last);
    void OpenJournal();
    void LockContent();
    void UndoRow();
    void DropFrames();
    void ReadFromDisk(std::uint32_t first, std::span<std::byte> out);
    Frame& Load(std::uint32_t page, bool read);
    std::byte* TakeBuffer();
    void EvictUnchanged();
    void FlushSiblings();
    void FlushForSibling(const FileStamp& stamp);
    void WakeTimer();
    void RunTimer();
    void CommitIfDue();
    void ThrowPending();

    File file_;
    PagedFileOptions options_;
    std::recursive_mutex mutex_;

    FileStamp stamp_;
    bool stamp_is_recent_ = true;
    std::atomic<std::uint64_t> version_ = 1;  // changed under the mutex alone
    std::uint64_t foreign_changes_ = 0;

    std::atomic<State> state_ = State::Idle;
    std::uint64_t transaction_ = 0;
    std::uint64_t view_ = 0;
    std::uint32_t base_pages_ = 0;  // in the file before the transaction
    std::uint32_t page_count_ = 0;  // with those appended
    std::uint64_t reserved_ = 0;    // size that the file has been given in advance
    Frames frames_;
    std::vector<std::uint32_t> finished_;
    std::size_t changed_existing_ = 0;
    std::unordered_set<std::uint32_t> journaled_;
    std::unordered_set<std::uint32_t> renewed_;
    std::unique_ptr<Journal> journal_;
    bool content_locked_ = false;
    std::function<void()> before_commit_;

    bool undo_ = false;
    std::uint64_t mark_ = 0;
    std::uint32_t pages_at_mark_ = 0;
    std::vector<Image> images_;

    std::vector<std::unique_ptr<std::byte[]>> chunks_;
    std::vector<std::byte*> free_buffers_;
    std::vector<std::byte> encoded_;

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
