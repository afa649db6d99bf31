#include "platform/linux/base/SerialQueue.h"

#include <pthread.h>

namespace quillon {

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label)), worker_([this](std::stop_token stop) { run(stop); }) {
    // Thread names are limited to 15 characters; keep the end of the label, which says the most.
    std::string name = label_.size() > 15 ? label_.substr(label_.size() - 15) : label_;
    pthread_setname_np(worker_.native_handle(), name.c_str());
}

SerialQueue::~SerialQueue() {
    worker_.request_stop();
    wake_.notify_all();
}

void SerialQueue::post(Task task) { enqueue(now(), std::move(task), nullptr); }

TimerHandle SerialQueue::postAfter(Duration delay, Task task) {
    auto handle = TimerHandle::make();
    enqueue(now() + std::max(delay, Duration::zero()), std::move(task), handle.flag());
    return handle;
}

TimePoint SerialQueue::now() const { return std::chrono::steady_clock::now(); }

void SerialQueue::enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled) {
    {
        std::lock_guard lock(mutex_);
        queue_.emplace(std::pair{due, sequence_++}, Entry{std::move(task), std::move(cancelled)});
    }
    wake_.notify_one();
}

void SerialQueue::run(std::stop_token stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        if (queue_.empty()) {
            wake_.wait(lock, stop, [this] { return !queue_.empty(); });
            continue;
        }
        auto first = queue_.begin();
        const TimePoint due = first->first.first;
        if (due > now()) {
            wake_.wait_until(lock, stop, due, [this, due] { return !queue_.empty() && queue_.begin()->first.first < due; });
            continue;
        }
        Entry entry = std::move(first->second);
        queue_.erase(first);
        if (entry.cancelled && entry.cancelled->load()) continue;
        lock.unlock();
        entry.task();
        entry.task = nullptr;  // release captures outside the lock
        lock.lock();
    }
}

}  // namespace quillon
