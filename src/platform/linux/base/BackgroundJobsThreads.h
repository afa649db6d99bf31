#pragma once

#include <list>
#include <mutex>
#include <thread>

#include "core/ports/BackgroundJobs.h"

namespace quillon {

// One std::jthread a job. Finished threads are joined and forgotten when the next job starts.
//
// Lock rules: mutex_ guards the lists only and is never held while a job runs. The destructor
// waits for every running job to end: jobs must not outlive what they use.
class BackgroundJobsThreads final : public BackgroundJobs {
public:
    BackgroundJobsThreads() = default;
    ~BackgroundJobsThreads() override;

    BackgroundJobsThreads(const BackgroundJobsThreads&) = delete;
    BackgroundJobsThreads& operator=(const BackgroundJobsThreads&) = delete;

    void start(Task job) override;

private:
    std::mutex mutex_;
    std::list<std::jthread> running_;
    std::list<std::thread::id> finished_;
};

}  // namespace quillon
