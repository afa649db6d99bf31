#include "platform/linux/base/BackgroundJobsThreads.h"

#include <algorithm>

namespace quillon {

BackgroundJobsThreads::~BackgroundJobsThreads() {
    std::list<std::jthread> running;
    {
        std::lock_guard lock(mutex_);
        running.swap(running_);
    }
    running.clear();  // joins each
}

void BackgroundJobsThreads::start(Task job) {
    std::list<std::jthread> done;
    std::lock_guard lock(mutex_);
    for (const auto id : finished_) {
        const auto found = std::ranges::find(running_, id, &std::jthread::get_id);
        if (found != running_.end()) done.splice(done.end(), running_, found);
    }
    finished_.clear();
    running_.emplace_back([this, job = std::move(job)] {
        job();
        std::lock_guard finishedLock(mutex_);
        finished_.push_back(std::this_thread::get_id());
    });
    // `done`, declared before the lock, joins the finished threads after the lock is released.
}

}  // namespace quillon
