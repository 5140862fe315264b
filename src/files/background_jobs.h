#pragma once
// One thread that does jobs in their order, beside the thread that owns it.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace vantry::file {

class BackgroundJobs {
public:
    BackgroundJobs() = default;
    // Waits for all jobs.
    ~BackgroundJobs();
    BackgroundJobs(const BackgroundJobs&) = delete;
    BackgroundJobs& operator=(const BackgroundJobs&) = delete;

    // Before the first Post. False: the system has no thread left; the owner does the jobs himself.
    bool Start();
    // Jobs don't throw. Waits while `most` jobs or more aren't done yet.
    void Post(std::function<void()> job, std::size_t most);
    // Until all jobs are done.
    void Wait();

private:
    void Loop();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;  // the first one is being done
    bool closing_ = false;
    std::thread thread_;
};

}  // namespace vantry::file
