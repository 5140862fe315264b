// Opening, reading, and what the connections of one process owe each other. The way of a
// transaction is in file_group_transaction.cpp. Easy to get wrong: a journal of a member that isn't
// the leader means nothing by itself; only while the leader's is there may it be played back.

#include "files/file_group.h"

#include "files/file_errors.h"

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

// The groups of this process, so that one connection can make another's open batch visible.
struct Registry {
    std::mutex mutex;
    std::vector<FileGroup*> groups;
};
Registry& AllGroups() {
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

FileGroup::FileGroup(File leader,
                     ByteRange lock,
                     std::span<const std::string> others,
                     FileGroupOptions options)
    : other_paths_(others.begin(), others.end()), options_(options), batch_age_(options.batch_age) {
    members_.push_back(std::make_unique<MemberFile>(std::move(leader), lock));
    RecoverIfInterrupted();
    NoteStamps(false);
    const std::lock_guard guard(AllGroups().mutex);
    AllGroups().groups.push_back(this);
}

FileGroup::~FileGroup() {
    {
        const std::lock_guard lock(AllGroups().mutex);
        std::erase(AllGroups().groups, this);
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
        // Nobody is left to tell; the files are as before the batch.
    }
}

FileGroup::Member FileGroup::Add(File file, ByteRange lock) {
    const std::lock_guard guard(mutex_);
    members_.push_back(std::make_unique<MemberFile>(std::move(file), lock));
    auto& member = *members_.back();
    member.stamp = member.file.Stamp();
    stamps_are_recent_ = true;
    return members_.size() - 1;
}

bool FileGroup::Writable() const {
    return std::all_of(members_.begin(), members_.end(), [](const auto& member) {
        return member->file.Writable();
    });
}

// ---- Reading ----------------------------------------------------------------------------------

void FileGroup::NoteStamps(bool own_change) {
    bool changed = own_change || stamps_are_recent_;
    bool recent = false;
    for (const auto& member : members_) {
        const FileStamp now = member->file.Stamp();
        changed = changed || !(now == member->stamp);
        recent = recent || (!now.marked && NowAsFileTime() - now.modified_ns < kClockGrain_ns);
        member->stamp = now;
    }
    if (changed) {
        BumpVersion();
    }
    stamps_are_recent_ = recent;
}

bool FileGroup::JournalIsThere() const {
    return StampOf(Journal::PathFor(Leader().file.Path())).has_value();
}

void FileGroup::RecoverIfInterrupted() {
    const bool there =
        JournalIsThere() ||
        std::any_of(other_paths_.begin(), other_paths_.end(), [](const std::string& path) {
            return StampOf(Journal::PathFor(path)).has_value();
        });
    if (there && !LockedByOther(Leader().file, LockByte::Writer, LockKind::Shared)) {
        Recover();
    }
}

void FileGroup::Recover() {
    File* target = &Leader().file;
    File writable;
    if (!target->Writable()) {
        writable = File::Open(target->Path(), OpenMode::ReadWrite);
        target = &writable;
    }
    Lock(*target, LockByte::Writer, LockKind::Exclusive);
    try {
        Lock(*target, LockByte::Content, LockKind::Exclusive);
        PlayBackAll();
    } catch (...) {
        Unlock(*target, LockByte::Content);
        Unlock(*target, LockByte::Writer);
        throw;
    }
    Unlock(*target, LockByte::Content);
    Unlock(*target, LockByte::Writer);
}

void FileGroup::PlayBackAll() {
    const bool interrupted = JournalIsThere();
    std::vector<std::string> paths = other_paths_;
    for (std::size_t k = 1; k < members_.size(); ++k) {
        paths.push_back(members_[k]->file.Path());
    }
    for (const auto& path : paths) {
        if (!StampOf(Journal::PathFor(path))) {
            continue;
        }
        if (!interrupted) {
            RemoveFile(Journal::PathFor(path));  // left behind by a complete transaction
        } else if (auto member = File::OpenIfThere(path, OpenMode::ReadWrite)) {
            PlayBack(*member, kBlock);
        }
    }
    if (interrupted) {
        auto leader = File::Open(Leader().file.Path(), OpenMode::ReadWrite);
        PlayBack(leader, kBlock);
    }
}

// Takes the shared lock on the content and finds out whether it changed since the last time.
void FileGroup::StartReading() {
    Lock(Leader().file, LockByte::Content, LockKind::Shared);
    const bool was_recent = stamps_are_recent_;
    const auto before = Version();
    NoteStamps(false);
    if (was_recent || before != Version()) {
        // Whoever changed it may have died over it. A living writer can't change existing bytes
        // while we hold the lock, so its journal doesn't matter yet.
        if (JournalIsThere() && !LockedByOther(Leader().file, LockByte::Writer, LockKind::Shared)) {
            StopReading();
            Recover();
            Lock(Leader().file, LockByte::Content, LockKind::Shared);
            NoteStamps(true);
        }
    }
}

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

// ---- Other connections of this process --------------------------------------------------------

void FileGroup::FlushSiblings() {
    const std::lock_guard lock(AllGroups().mutex);
    for (FileGroup* const group : AllGroups().groups) {
        if (group != this) {
            group->FlushForSibling(Leader().stamp);
        }
    }
}

void FileGroup::FlushForSibling(const FileStamp& stamp) {
    // A statement under way on another thread ends by itself; its lock is waited for as another
    // process's would be.
    std::unique_lock lock(mutex_, std::try_to_lock);
    for (int tries = 0; !lock.owns_lock() && state_ == State::Batch && tries < kFlushTries;
         ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.try_lock();
    }
    if (!lock.owns_lock() || state_ != State::Batch || !Leader().stamp.SameFile(stamp)) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

void FileGroup::ThrowPending() {
    if (pending_) {
        std::rethrow_exception(std::exchange(pending_, nullptr));
    }
}

void FileGroup::Settle() {
    const std::lock_guard lock(mutex_);
    ThrowPending();
    if (state_ == State::Batch) {
        CommitOpen();
    }
    if (state_ == State::Idle) {
        FlushSiblings();
        StartReading();
        StopReading();
    }
}

void FileGroup::WakeTimer() {
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
void FileGroup::RunTimer() {
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

void FileGroup::CommitIfDue() {
    const std::lock_guard lock(mutex_);
    if (state_ != State::Batch || Clock::now() - batch_start_ < batch_age_) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

}  // namespace vantry::file
