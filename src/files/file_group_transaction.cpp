// Statements, batches of rows, and how their bytes get into several files at once. The leader's
// journal is made first and taken away first; in between each changed block of an existing file is
// in its file's journal, on the disk, before it is written. Bytes behind the former end are written
// when there are enough of them: the numbers that lead to them come with the commit.

#include "files/file_errors.h"
#include "files/file_group.h"

#include <algorithm>
#include <cstring>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kTailBytes = 512U << 10;      // kept before they are written
constexpr std::uint64_t kMostGrowBytes = 4U << 20;  // that a file is given at once
constexpr std::uint32_t kRowsPerLook = 64;          // at the clock
constexpr std::chrono::milliseconds kBurstGap{100};
constexpr int kLoadPerCommit = 4;  // of the time that a commit takes
constexpr std::chrono::seconds kOldestBatch{3};
constexpr std::chrono::milliseconds kPatienceOfABatch{60'000};

}  // namespace

void FileGroup::LockOthersOut() {
    if (holds_foreign_locks_) {
        return;
    }
    for (const auto& member : members_) {
        if (member->lock.length != 0 && !member->locked) {
            Lock(member->file, member->lock, LockKind::Exclusive);
            member->locked = true;
        }
    }
}

void FileGroup::LetOthersIn() {
    if (holds_foreign_locks_) {
        return;
    }
    for (const auto& member : members_) {
        if (member->locked) {
            Unlock(member->file, member->lock);
            member->locked = false;
        }
    }
}

void FileGroup::AcquireWriter() {
    for (const auto& member : members_) {
        if (!member->file.Writable()) {
            throw OpenedReadOnly(member->file.Path());
        }
    }
    FlushSiblings();
    auto& leader = Leader();
    Lock(leader.file, LockByte::Turn, LockKind::Exclusive);
    try {
        Lock(leader.file, LockByte::Writer, LockKind::Exclusive);
    } catch (...) {
        Unlock(leader.file, LockByte::Turn);
        throw;
    }
    Unlock(leader.file, LockByte::Turn);
    try {
        LockOthersOut();
        // Not before: whoever held the lock may have replaced a file.
        for (const auto& member : members_) {
            const auto named = StampOf(member->file.Path());
            if (!named || !named->SameFile(member->stamp)) {
                throw ReplacedWhileOpen(member->file.Path());
            }
        }
        while (JournalIsThere()) {
            Recover();
            Lock(leader.file, LockByte::Writer, LockKind::Exclusive);
        }
        for (std::size_t k = 1; k < members_.size(); ++k) {
            // Left behind by a complete transaction. It must not be taken for one of this.
            if (const auto path = Journal::PathFor(members_[k]->file.Path()); StampOf(path)) {
                RemoveFile(path);
                SyncFolderOf(path);
            }
        }
        NoteStamps(false);
    } catch (...) {
        LetOthersIn();
        Unlock(leader.file, LockByte::Writer);
        throw;
    }
    for (const auto& member : members_) {
        member->base_size = member->size = member->reserved = member->stamp.size;
        member->tail_start = (member->base_size + kBlock - 1) / kBlock * kBlock;
        member->tail_written = member->tail_start;
        member->writeout = EarlyWriteout(member->base_size);
    }
    ++transaction_;
}

void FileGroup::ReleaseWriter() {
    for (const auto& member : members_) {
        member->blocks.clear();
        member->journaled.clear();
        member->tail.clear();
        member->cut.reset();
        member->journal.reset();
    }
    kept_blocks_ = 0;
    if (content_locked_) {
        Unlock(Leader().file, LockByte::Content);
        content_locked_ = false;
    }
    LetOthersIn();
    Unlock(Leader().file, LockByte::Writer);
    state_ = State::Idle;
}

void FileGroup::Begin() {
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

void FileGroup::Commit() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    CommitOpen();
}

void FileGroup::Rollback() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    RollbackOpen();
}

void FileGroup::BeginRow() {
    mutex_.lock();
    try {
        ThrowPending();
        if (state_ != State::Batch) {
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
    } catch (...) {
        mutex_.unlock();
        throw;
    }
}

void FileGroup::EndRow(bool keep) {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    if (!keep) {
        if (batch_rows_ == 0) {
            ReleaseWriter();
        }
        return;
    }
    ++batch_rows_;
    if (burst_ < single_rows_) {
        ++burst_;
        CommitOpen(1);
        return;
    }
    if (batch_rows_ % kRowsPerLook == 0 &&
        (Clock::now() - batch_start_ >= batch_age_ ||
         LockedByOther(Leader().file, LockByte::Turn, LockKind::Exclusive))) {
        CommitOpen(1);
    }
}

void FileGroup::FailRow() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    FailOpen(batch_rows_);
}

void FileGroup::CommitOpen(std::uint32_t failing) {
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
    last_commit_ = Clock::now();
    const std::chrono::nanoseconds age = kLoadPerCommit * (last_commit_ - start);
    batch_age_ = std::max<std::chrono::nanoseconds>(
        options_.batch_age, std::min<std::chrono::nanoseconds>(age, kOldestBatch));
    NoteStamps(true);
    ReleaseWriter();
}

// To be called while an exception is handled.
void FileGroup::FailOpen(std::uint32_t lost_rows) {
    RollbackOpen();
    try {
        throw;
    } catch (const DataError& error) {
        throw RowsLost(error, lost_rows);
    } catch (const std::bad_alloc&) {
        if (lost_rows == 0) {
            throw;
        }
        throw RowsLost(OutOfMemory(Leader().file.Path()), lost_rows);
    }
}

void FileGroup::RollbackOpen() {
    bool journalled = false;
    for (const auto& member : members_) {
        journalled = journalled || member->journal;
        member->journal.reset();
    }
    if (journalled) {
        try {
            LockContent();
            // Without the leader's journal the transaction had been committed when it failed.
            const bool committed = !JournalIsThere();
            PlayBackAll();
            for (const auto& member : members_) {
                if (!committed && member->file.Size() > member->base_size) {
                    member->file.Truncate(member->base_size);
                }
            }
        } catch (const std::exception&) {
            // The journals stay: whoever opens the table next plays them back. What went wrong
            // first is being reported.
        }
    }
    try {
        NoteStamps(true);
    } catch (const std::exception&) {
        stamps_are_recent_ = true;  // unknown: read everything anew next time
        BumpVersion();
    }
    ReleaseWriter();
}

// ---- Changes ----------------------------------------------------------------------------------

FileGroup::Block& FileGroup::BlockOf(MemberFile& member, std::uint64_t number) {
    const auto [entry, fresh] = member.blocks.try_emplace(number);
    if (fresh) {
        try {
            entry->second.bytes = std::make_unique<std::byte[]>(kBlock);
            // The last one may have been written early with bytes behind the former end.
            const std::uint64_t at = number * kBlock;
            const std::size_t got = member.file.Read(at, {entry->second.bytes.get(), kBlock});
            if (at + got < std::min(member.base_size, at + kBlock)) {
                throw UnexpectedEnd(member.file.Path(), at + got);
            }
        } catch (...) {
            member.blocks.erase(entry);
            throw;
        }
    }
    return entry->second;
}

void FileGroup::Grow(MemberFile& member, std::uint64_t end) {
    if (end <= member.size) {
        return;
    }
    if (end > options_.max_size) {
        throw SizeLimit(member.file.Path(), options_.max_size);
    }
    if (end > member.reserved) {
        // A full disk shows here, for the row that needs the room, and not when earlier rows are
        // committed.
        OpenJournals();
        OpenJournal(member);
        const std::uint64_t wanted =
            std::min(options_.max_size,
                     end + std::min<std::uint64_t>(end - member.base_size, kMostGrowBytes));
        member.file.Reserve(member.reserved, wanted - member.reserved);
        member.reserved = wanted;
    }
    if (member.size < member.tail_start) {
        BlockOf(member, member.size / kBlock).changed = true;
    }
    if (end > member.tail_written) {
        const std::size_t length = end - member.tail_written;
        if (length > member.tail.capacity()) {
            member.tail.reserve(std::max(length, std::min(2 * length, kTailBytes + kBlock)));
        }
        member.tail.resize(length);
    }
    member.size = end;
}

void FileGroup::WriteTail(MemberFile& member, std::uint64_t offset, ByteSpan bytes) {
    if (offset < member.tail_written) {
        const auto part =
            bytes.first(std::min<std::uint64_t>(bytes.size(), member.tail_written - offset));
        member.file.Write(offset, part);
        offset += part.size();
        bytes = bytes.subspan(part.size());
    }
    if (!bytes.empty()) {
        std::memcpy(
            member.tail.data() + (offset - member.tail_written), bytes.data(), bytes.size());
        if (member.tail.size() >= kTailBytes) {
            FlushTail(member);
        }
    }
}

void FileGroup::Write(Member number, std::uint64_t offset, ByteSpan bytes) {
    auto& member = *members_.at(number);
    BumpVersion();
    Grow(member, offset + bytes.size());
    while (!bytes.empty() && offset < member.tail_start) {
        const auto part =
            bytes.first(std::min<std::uint64_t>(bytes.size(), kBlock - offset % kBlock));
        Block& block = BlockOf(member, offset / kBlock);
        std::memcpy(block.bytes.get() + offset % kBlock, part.data(), part.size());
        if (!block.changed) {
            block.changed = true;
            ++kept_blocks_;
        }
        offset += part.size();
        bytes = bytes.subspan(part.size());
    }
    if (!bytes.empty()) {
        WriteTail(member, offset, bytes);
    }
    if (kept_blocks_ * kBlock > options_.cache_bytes) {
        // Readers are shut out for the rest of the transaction once existing bytes are written.
        OpenJournals();
        WriteBlocks(false);
    }
}

void FileGroup::CutAfterCommit(Member number, std::uint64_t size) {
    members_.at(number)->cut = size;
    if (auto& leader = Leader(); leader.blocks.empty() && leader.base_size > 0) {
        BlockOf(leader, 0).changed = true;  // something is committed
    }
}

// ---- Into the files ---------------------------------------------------------------------------

void FileGroup::OpenJournal(MemberFile& member) {
    if (member.journal) {
        return;
    }
    member.journal = std::make_unique<Journal>(
        member.file.Path(), kBlock, member.base_size, member.stamp.owner_only);
    // One image at once: a journal without any isn't played back, and wouldn't cut off what has
    // been added.
    std::vector<std::byte> former(std::min<std::uint64_t>(kBlock, member.base_size));
    member.file.ReadExactly(0, former);
    member.journal->AddImage(0, former, {});
    member.journal->Sync();
    member.journaled.insert(0);
}

void FileGroup::OpenJournals() {
    OpenJournal(Leader());
    for (const auto& member : members_) {
        if (member->Changed()) {
            OpenJournal(*member);
        }
    }
}

void FileGroup::LockContent() {
    if (!content_locked_) {
        // The rows of a batch were accepted before: a reader that stalls mustn't cost them.
        const bool batch = state_ == State::Batch;
        LockPatiently(Leader().file,
                      LockByte::Content,
                      LockKind::Exclusive,
                      batch ? kPatienceOfABatch : std::chrono::milliseconds::zero());
        content_locked_ = true;
    }
}

void FileGroup::FlushTail(MemberFile& member) {
    if (member.tail.empty()) {
        return;
    }
    OpenJournals();
    OpenJournal(member);
    member.file.Write(member.tail_written, member.tail);
    member.tail_written += member.tail.size();
    member.writeout.Wrote(member.file, member.tail_written);
    member.tail.clear();
}

// Puts the former content of changed blocks into the journals, and then their new one into the
// files. `last`: they won't change again.
void FileGroup::WriteBlocks(bool last) {
    std::vector<std::byte> former(kBlock);
    bool any = false;
    for (const auto& member : members_) {
        for (const auto& [number, block] : member->blocks) {
            any = any || block.changed;
            if (!block.changed || !member->journaled.insert(number).second) {
                continue;
            }
            const std::uint64_t at = number * kBlock;
            const auto image =
                std::span(former).first(std::min<std::uint64_t>(kBlock, member->base_size - at));
            member->file.ReadExactly(at, image);
            member->journal->AddImage(
                number, image, last ? ByteSpan(block.bytes.get(), image.size()) : ByteSpan());
        }
        if (member->journal) {
            member->journal->Sync();
        }
    }
    if (!any) {
        return;
    }
    LockContent();
    for (const auto& member : members_) {
        for (auto& [number, block] : member->blocks) {
            if (block.changed) {
                const std::uint64_t at = number * kBlock;
                member->file.Write(
                    at, {block.bytes.get(), std::min<std::uint64_t>(kBlock, member->size - at)});
                block.changed = false;
            }
        }
        member->blocks.clear();
    }
    kept_blocks_ = 0;
}

void FileGroup::WriteEverything() {
    const bool changed = std::any_of(members_.begin(), members_.end(), [](const auto& member) {
        return member->Changed() || member->journal;
    });
    if (!changed) {
        return;
    }
    OpenJournals();
    for (const auto& member : members_) {
        FlushTail(*member);
    }
    WriteBlocks(true);
    for (const auto& member : members_) {
        if (!member->journal) {
            continue;
        }
        if (member->file.Size() != member->size) {
            member->file.Truncate(member->size);
        }
        member->file.Sync();
        member->file.MarkChanged();
    }
    // From here on everything is committed.
    Leader().journal->Remove();
    for (const auto& member : members_) {
        try {
            if (member->journal && member.get() != &Leader()) {
                member->journal->Remove();
            }
            if (member->cut && *member->cut < member->size) {
                LockContent();
                member->file.Truncate(*member->cut);
            }
        } catch (const std::exception&) {
            // A journal without the leader's means nothing, and bytes behind the end neither.
        }
    }
}

}  // namespace vantry::file
