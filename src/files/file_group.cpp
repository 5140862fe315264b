// Opening and reading, and the journals of several files. The way of a transaction is in
// file_group_transaction.cpp. Easy to get wrong: a journal of a member that isn't the leader means
// nothing by itself; only while the leader's is there may it be played back.

#include "files/file_group.h"

#include "files/file_errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::file {
namespace {

constexpr std::chrono::seconds kOldestBatch{3};
// Of a second thread while the first one reads memos: some twenty milliseconds in all.
constexpr int kTriesAhead = 400;

}  // namespace

FileGroup::FileGroup(File leader,
                     ByteRange lock,
                     std::span<const std::string> others,
                     FileGroupOptions options)
    : FileTransactions(options.batch_age, kOldestBatch),
      other_paths_(others.begin(), others.end()),
      options_(options) {
    members_.push_back(std::make_unique<MemberFile>(std::move(leader), lock));
    Attach(Leader());
    RecoverIf(JournalIsThere() || std::any_of(others.begin(), others.end(), [](const auto& path) {
                  return IsThere(Journal::PathFor(path));
              }));
    NoteStamps(false);
    Register();
}

FileGroup::~FileGroup() {
    Close();
}

FileGroup::Member FileGroup::Add(File file, ByteRange lock) {
    const std::lock_guard guard(mutex_);
    members_.push_back(std::make_unique<MemberFile>(std::move(file), lock));
    Attach(*members_.back());
    return members_.size() - 1;
}

bool FileGroup::Writable() const {
    return std::all_of(members_.begin(), members_.end(), [](const auto& member) {
        return member->file.Writable();
    });
}

// ---- Journals ---------------------------------------------------------------------------------

bool FileGroup::JournalIsThere() const {
    return IsThere(Journal::PathFor(Leader().file.Path()));
}

// All are checked before one is played back; the leader's goes last, so that whoever is killed in
// between is followed by one who does the rest.
void FileGroup::PlayBackJournals(File& first) {
    std::vector<std::string> paths = other_paths_;
    for (std::size_t k = 1; k < members_.size(); ++k) {
        paths.push_back(members_[k]->file.Path());
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    if (!JournalIsThere()) {
        for (const auto& path : paths) {
            RemoveLeftJournal(path);  // left behind by a complete transaction
        }
        return;
    }
    std::vector<File> files;
    for (const auto& path : paths) {
        if (IsThere(Journal::PathFor(path))) {
            // By handles of its own: those that the group has open may be read-only.
            if (auto file = File::OpenIfThere(path, OpenMode::ReadWrite)) {
                files.push_back(std::move(*file));
            }
        }
    }
    std::vector<Playback> playbacks;
    playbacks.reserve(files.size() + 1);
    for (File& file : files) {
        playbacks.emplace_back(file, kBlock);
    }
    // The leader last: see above.
    playbacks.emplace_back(first, kBlock);
    for (Playback& playback : playbacks) {
        playback.Check();
    }
    for (Playback& playback : playbacks) {
        playback.Run();
    }
}

// ---- Reading ----------------------------------------------------------------------------------

std::uint64_t FileGroup::SizeOf(Member number) {
    const std::lock_guard lock(mutex_);
    const auto& member = *members_.at(number);
    return state_ == State::Idle ? member.file.Size() : member.size;
}

std::size_t FileGroup::Read(Member number, std::uint64_t offset, std::span<std::byte> out) {
    const std::lock_guard lock(mutex_);
    auto& member = *members_.at(number);
    if (state_ != State::Idle) {
        return ReadChanged(member, offset, out);
    }
    StartReading();
    try {
        const std::size_t got = member.file.Read(offset, out);
        StopReading();
        return got;
    } catch (...) {
        StopReading();
        throw;
    }
}

bool FileGroup::TryRead(std::uint64_t offset, std::span<std::byte> out, std::uint64_t& version) {
    return TryReading(
        [&] { return Leader().file.Read(offset, out) == out.size(); }, version, kTriesAhead);
}

// Of an open transaction: blocks from memory, the tail from memory as far as it isn't written yet,
// the rest from the file.
std::size_t FileGroup::ReadChanged(MemberFile& member,
                                   std::uint64_t offset,
                                   std::span<std::byte> out) {
    if (offset >= member.size) {
        return 0;
    }
    out = out.first(std::min<std::uint64_t>(out.size(), member.size - offset));
    const std::size_t total = out.size();
    while (!out.empty()) {
        std::size_t part = 0;
        if (offset >= member.tail_written) {
            part = out.size();
            std::memcpy(out.data(), member.tail.data() + (offset - member.tail_written), part);
        } else if (offset >= member.tail_start) {
            part = std::min<std::uint64_t>(out.size(), member.tail_written - offset);
            member.file.ReadExactly(offset, out.first(part));
        } else {
            const auto block = member.blocks.lower_bound(offset / kBlock);
            if (block != member.blocks.end() && block->first == offset / kBlock) {
                part = std::min<std::uint64_t>(out.size(), kBlock - offset % kBlock);
                std::memcpy(out.data(), block->second.bytes.get() + offset % kBlock, part);
            } else {
                const std::uint64_t end =
                    block == member.blocks.end() ? member.tail_start : block->first * kBlock;
                part = std::min<std::uint64_t>(out.size(), end - offset);
                member.file.ReadExactly(offset, out.first(part));
            }
        }
        offset += part;
        out = out.subspan(part);
    }
    return total;
}

void FileGroup::HoldForeignLocks() {
    const std::lock_guard lock(mutex_);
    try {
        LockOthersOut();
    } catch (...) {
        LetOthersIn();
        throw;
    }
    holds_foreign_locks_ = true;
}

}  // namespace vantry::file
