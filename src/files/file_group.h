#pragma once
// Files that change together: a table with its memo file and its index, of any sizes, with
// transactions over all of them. The first member leads: it carries the locks, and its journal is
// the one that counts. As with PagedFile, a transaction's changes to existing bytes stay in memory
// until it is committed, and bytes behind a file's former end may be written earlier, as nothing
// refers to them yet.
//
// How a commit gets into several files at once: each changed file has a journal of its own
// (files/journal.h), the leader's is the first to be made and the first to be taken away. While the
// leader's is there, the transaction isn't complete, and all are played back; without it those of
// the others are what a complete one left behind.

#include "files/checked_bytes.h"
#include "files/early_writeout.h"
#include "files/file.h"
#include "files/file_lock.h"
#include "files/file_transactions.h"
#include "files/journal.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace vantry::file {

struct FileGroupOptions {
    std::uint64_t max_size = UINT64_MAX;  // of each file, in bytes
    std::size_t cache_bytes = 8U << 20;   // of changed blocks, kept before they are written early
    std::chrono::milliseconds batch_age{350};  // of a bulk load's transaction, at least
};

class FileGroup final : public FileTransactions {
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
    ~FileGroup() override;

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
    // All of it from the leader, on a thread other than the connection's; see TryReading.
    bool TryRead(std::uint64_t offset, std::span<std::byte> out, std::uint64_t& version);
    // Keeps other programs out until the group is closed. Throws when one is in.
    void HoldForeignLocks();

    // ---- Rows; `keep` false: the row failed before it changed anything.
    void BeginRow() { EnterRow(); }
    void EndRow(bool keep);
    // The row failed when it had changed something: its whole batch is taken back. To be called
    // while the exception is handled; throws it on, with the count of the rows that go with it.
    [[noreturn]] void FailRow();

    // ---- Inside a transaction
    // At most as far behind the end of the file as there are zeros to be filled in. Throws when the
    // file would grow above its limit.
    void Write(Member member, std::uint64_t offset, ByteSpan bytes);
    // Cuts the file, behind the commit: what lies there must not be referred to any more.
    void CutAfterCommit(Member member, std::uint64_t size);

private:
    static constexpr std::size_t kBlock = 4096;

    struct Block {
        std::unique_ptr<std::byte[]> bytes;  // kBlock of them
        bool changed = false;
    };
    struct MemberFile : WrittenFile {
        MemberFile(File opened, ByteRange range) : WrittenFile(std::move(opened)), lock(range) {}

        ByteRange lock;
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
        std::uint64_t reserved = 0;  // up to where there is room on the disk for it
        // Room was asked for: a disk gives what it has before it says that this isn't enough.
        bool has_room_aside = false;
        std::optional<std::uint64_t> cut;
        std::unique_ptr<Journal> journal;

        bool Changed() const { return size != base_size || !blocks.empty(); }
    };

    bool JournalIsThere() const override;
    void PlayBackJournals(File& first) override;
    void LockOthersOut() override;
    void LetOthersIn() override;
    void RemoveLeftovers() override;
    void StartTransaction() override;
    void WriteEverything() override;
    void TakeBack() override;
    void ForgetTransaction() override;
    void WriteBlocks();
    bool JournalBlocks();
    void PutBlocks();
    void FlushTail(MemberFile& member);
    void OpenJournals();
    void OpenJournal(MemberFile& member);
    void SyncJournals();
    Block& BlockOf(MemberFile& member, std::uint64_t number);
    std::size_t ReadChanged(MemberFile& member, std::uint64_t offset, std::span<std::byte> out);
    void Grow(MemberFile& member, std::uint64_t end);
    void WriteTail(MemberFile& member, std::uint64_t offset, ByteSpan bytes);
    MemberFile& Leader() { return *members_[kLeader]; }
    const MemberFile& Leader() const { return *members_[kLeader]; }

    std::vector<std::unique_ptr<MemberFile>> members_;
    std::vector<std::string> other_paths_;
    FileGroupOptions options_;

    std::size_t kept_blocks_ = 0;  // changed ones
    bool holds_foreign_locks_ = false;
};

}  // namespace vantry::file
