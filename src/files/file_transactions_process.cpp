// What the connections of one process owe each other, and the timer of batches. A connection of the
// same thread that waits for another's open batch would wait forever, so it commits it first
// (FlushSiblings); and a batch that no further row ends is committed by a thread of its own.

#include "files/file_transactions.h"

#include <utility>
#include <vector>

namespace vantry::file {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFlushTries = 50;
constexpr std::chrono::milliseconds kTimerTick{125};
constexpr std::chrono::nanoseconds kQuietAge = std::chrono::milliseconds(350);
constexpr int kQuietTicks = 16;

// The connections of this process, so that one can make another's open batch visible.
struct Registry {
    std::mutex mutex;
    std::vector<FileTransactions*> connections;
};
Registry& AllConnections() {
    // Never destroyed: connections that live as long as the program are closed after its statics.
    static Registry& registry = *new Registry;
    return registry;
}

}  // namespace

void FileTransactions::Register() {
    const std::lock_guard lock(AllConnections().mutex);
    AllConnections().connections.push_back(this);
}

void FileTransactions::Close() noexcept {
    {
        const std::lock_guard lock(AllConnections().mutex);
        // First: a sibling must not find an object whose end has begun.
        std::erase(AllConnections().connections, this);
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

void FileTransactions::FlushSiblings() {
    const std::lock_guard lock(AllConnections().mutex);
    for (FileTransactions* const other : AllConnections().connections) {
        if (other != this) {
            other->FlushForSibling(First().stamp);
        }
    }
}

void FileTransactions::FlushForSibling(const FileStamp& stamp) {
    // A statement under way on another thread ends by itself; its lock is waited for as another
    // process's would be.
    std::unique_lock lock(mutex_, std::try_to_lock);
    for (int tries = 0; !lock.owns_lock() && state_ == State::Batch && tries < kFlushTries;
         ++tries) {
        // Its timer or a thread that reads for it holds the mutex for a moment.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.try_lock();
    }
    if (!lock.owns_lock() || state_ != State::Batch || !First().stamp.SameFile(stamp)) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

void FileTransactions::ThrowPending() {
    if (pending_) {
        std::rethrow_exception(std::exchange(pending_, nullptr));
    }
}

void FileTransactions::WakeTimer() {
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
void FileTransactions::RunTimer() {
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

void FileTransactions::CommitIfDue() {
    const std::lock_guard lock(mutex_);
    if (state_ != State::Batch) {
        return;
    }
    const bool rows_come = batch_rows_ != std::exchange(rows_at_last_look_, batch_rows_);
    if (Clock::now() - batch_start_ < (rows_come ? batch_age_ : std::min(batch_age_, kQuietAge))) {
        return;
    }
    try {
        CommitOpen();
    } catch (const std::exception&) {
        pending_ = std::current_exception();
    }
}

}  // namespace vantry::file
