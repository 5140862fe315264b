// Statements, batches of rows, and how their bytes get into several files at once. The leader's
// journal is made first and taken away first; in between each changed block of an existing file is
// in its file's journal, on the disk, before it is written. Bytes behind the former end are written
// when there are enough of them: the numbers that lead to them come with the commit. No file grows
// before its journal is on the disk, which a short transaction therefore waits for once.

#include "files/file_errors.h"
#include "files/file_group.h"

#include <algorithm>
#include <cstring>

namespace vantry::file {
namespace {

constexpr std::size_t kTailBytes = 512U << 10;      // kept before they are written
constexpr std::uint64_t kMostGrowBytes = 4U << 20;  // that a file is given at once

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

// What a complete transaction left behind must not be taken for a journal of this one.
void FileGroup::RemoveLeftovers() {
    for (std::size_t k = 1; k < members_.size(); ++k) {
        RemoveLeftJournal(members_[k]->file.Path());
    }
}

void FileGroup::StartTransaction() {
    for (const auto& member : members_) {
        member->base_size = member->size = member->reserved = member->length;
        // From the next whole block on: the block in which the former end lies holds bytes that
        // must be saved.
        member->tail_start = (member->base_size + kBlock - 1) / kBlock * kBlock;
        member->tail_written = member->tail_start;
        member->writeout = EarlyWriteout(member->base_size);
        member->has_room_aside = false;
    }
}

void FileGroup::ForgetTransaction() {
    for (const auto& member : members_) {
        member->blocks.clear();
        member->journaled.clear();
        member->tail.clear();
        member->cut.reset();
        member->journal.reset();
    }
    kept_blocks_ = 0;
}

void FileGroup::EndRow(bool keep) {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    if (!keep) {
        // The batch holds no row: it ends without a commit.
        if (batch_rows_ == 0) {
            ReleaseWriter();
        }
    } else if (!CountRow()) {
        CommitIfOldOrWanted();
    }
}

void FileGroup::FailRow() {
    const std::lock_guard lock(mutex_, std::adopt_lock);
    FailOpen(batch_rows_);
}

// Where no byte that was there before has been changed, it is enough to cut off what was added; a
// file that somebody else has cut, or put another one in its place, isn't touched at all.
void FileGroup::TakeBack() {
    bool journalled = false;
    bool ours = true;
    for (const auto& member : members_) {
        journalled = journalled || member->journal;
        member->journal.reset();
        const auto named = StampOf(member->file.Path());
        ours = ours && named && named->SameFile(member->stamp);
    }
    // Without the leader's journal the transaction had been committed when it failed.
    if (journalled && !JournalIsThere()) {
        return;
    }
    if (journalled && content_locked_ && ours) {
        PlayBackJournals(Leader().file);
    }
    for (const auto& member : members_) {
        const bool grown = member->length > member->base_size;
        if (member->file.Size() == member->length && (grown || member->has_room_aside)) {
            member->Truncate(member->base_size);
        }
    }
    if (!journalled) {
        return;
    }
    for (const auto& member : members_) {
        RemoveLeftJournal(member->file.Path());
    }
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
                // Zeros in place of what was cut off would be committed as content.
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
        const std::uint64_t wanted =
            std::min(options_.max_size,
                     end + std::min<std::uint64_t>(end - member.base_size, kMostGrowBytes));
        member.has_room_aside = true;
        member.SetAside(member.reserved, wanted - member.reserved);
        member.reserved = wanted;
    }
    if (member.size < member.tail_start) {
        // Its bytes up to the new end are part of what is committed, also those that nobody writes.
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
        member.Write(offset, part);
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
        WriteBlocks();
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
    member.journal = std::make_unique<Journal>(member.file, kBlock, member.base_size);
    // One image at once: a journal without any isn't played back, and wouldn't cut off what has
    // been added.
    std::vector<std::byte> former(std::min<std::uint64_t>(kBlock, member.base_size));
    member.file.ReadExactly(0, former);
    member.journal->AddImage(0, former);
    member.journaled.insert(0);
}

void FileGroup::SyncJournals() {
    std::vector<Journal*> journals;
    for (const auto& member : members_) {
        if (member->journal) {
            journals.push_back(member->journal.get());
        }
    }
    Journal::SyncAll(journals);
}

void FileGroup::OpenJournals() {
    OpenJournal(Leader());
    for (const auto& member : members_) {
        if (member->Changed()) {
            OpenJournal(*member);
        }
    }
}

void FileGroup::FlushTail(MemberFile& member) {
    if (member.tail.empty()) {
        return;
    }
    OpenJournals();
    OpenJournal(member);
    SyncJournals();
    RequireAsLeft();
    member.Write(member.tail_written, member.tail);
    member.tail_written += member.tail.size();
    member.writeout.Wrote(member.file, member.tail_written);
    member.tail.clear();
}

void FileGroup::WriteBlocks() {
    if (JournalBlocks()) {
        PutBlocks();
    }
}

// Puts the former content of changed blocks into the journals; false: there are none.
bool FileGroup::JournalBlocks() {
    RequireAsLeft();
    std::vector<std::byte> former(kBlock);
    bool any = false;
    for (const auto& member : members_) {
        for (const auto& [number, block] : member->blocks) {
            if (!block.changed) {
                continue;
            }
            any = true;
            const std::uint64_t at = number * kBlock;
            const auto image =
                std::span(former).first(std::min<std::uint64_t>(kBlock, member->base_size - at));
            // Once a transaction: what stands there later is no longer the former content.
            if (member->journaled.insert(number).second) {
                member->file.ReadExactly(at, image);
                member->journal->AddImage(number, image);
            }
            // Each time: a playback takes a block for ours only in a state that was announced.
            member->journal->AddReplacement(number, ByteSpan(block.bytes.get(), image.size()));
        }
    }
    SyncJournals();
    return any;
}

// And their new one into the files.
void FileGroup::PutBlocks() {
    LockContent();
    for (const auto& member : members_) {
        for (auto& [number, block] : member->blocks) {
            if (block.changed) {
                const std::uint64_t at = number * kBlock;
                member->Write(
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
    // Before the tails, so that one sync of each journal is for all that is written.
    const bool any = JournalBlocks();
    for (const auto& member : members_) {
        FlushTail(*member);
    }
    if (any) {
        PutBlocks();
    }
    for (const auto& member : members_) {
        if (!member->journal) {
            continue;
        }
        // Room that was set aside and not used goes back.
        if (member->length != member->size || member->has_room_aside) {
            member->Truncate(member->size);
        }
        member->file.Sync();
        member->file.MarkChanged();
    }
    RequireAsLeft();
    // From here on everything is committed.
    Leader().journal->Remove();
    for (const auto& member : members_) {
        try {
            if (member->journal && member.get() != &Leader()) {
                member->journal->Remove();
            }
            if (member->cut && *member->cut < member->size) {
                LockContent();
                member->Truncate(*member->cut);
            }
        } catch (const std::exception&) {
            // A journal without the leader's means nothing, and bytes behind the end neither.
        }
    }
}

}  // namespace vantry::file
