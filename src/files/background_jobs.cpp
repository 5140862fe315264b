#include "files/background_jobs.h"

#include <exception>
#include <utility>

namespace vantry::file {

BackgroundJobs::~BackgroundJobs() {
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        // Loop ends only when no job is left: what was posted is still done.
        closing_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

bool BackgroundJobs::Start() {
    if (!thread_.joinable()) {
        try {
            thread_ = std::thread([this] { Loop(); });
        } catch (const std::exception&) {
            return false;
        }
    }
    return true;
}

void BackgroundJobs::Post(std::function<void()> job, std::size_t most) {
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return jobs_.size() < most; });
        jobs_.push_back(std::move(job));
    }
    changed_.notify_all();
}

void BackgroundJobs::Wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return jobs_.empty(); });
}

void BackgroundJobs::Loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return closing_ || !jobs_.empty(); });
        if (jobs_.empty()) {
            return;
        }
        const auto& job = jobs_.front();  // stays where it is when others come behind it
        lock.unlock();
        job();
        lock.lock();
        // Taken out when it is done, not before: Wait and the limit of Post count it while it runs.
        jobs_.pop_front();
        changed_.notify_all();
    }
}

}  // namespace vantry::file
