#include "platform/linux/base/SerialQueue.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <optional>

namespace quillon {

class SerialQueue::QueueWakeup final : public Wakeup {
public:
    QueueWakeup(SerialQueue& queue, Task task) : queue_(queue), task_(std::move(task)) {}

    void signal() override {
        if (fired_.exchange(true, std::memory_order_acq_rel)) return;
        queue_.wakeupFired_.store(true, std::memory_order_release);
        queue_.wakeWorker();
    }

    // Worker: true once per run asked for. Cleared before the run, so that a signal given while
    // the task runs asks for the next one.
    bool takeFired() { return fired_.exchange(false, std::memory_order_acq_rel); }
    void run() { task_(); }

private:
    SerialQueue& queue_;
    Task task_;
    std::atomic<bool> fired_{false};
};

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
    sem_init(&wake_, 0, 0);
    worker_ = std::jthread([this](std::stop_token stop) { run(stop); });
    // Thread names are limited to 15 characters; keep the end of the label, which says the most.
    std::string name = label_.size() > 15 ? label_.substr(label_.size() - 15) : label_;
    pthread_setname_np(worker_.native_handle(), name.c_str());
}

SerialQueue::~SerialQueue() {
    worker_.request_stop();
    wakeWorker();
    worker_.join();
    // Tasks never run are dropped outside the lock, round after round: what their captures post
    // on the way out is dropped in the next round.
    for (;;) {
        Queue dropped;
        {
            std::lock_guard lock(mutex_);
            dropped.swap(queue_);
        }
        if (dropped.empty()) break;
    }
    sem_destroy(&wake_);
}

void SerialQueue::post(Task task) { enqueue(now(), std::move(task), nullptr); }

TimerHandle SerialQueue::postAfter(Duration delay, Task task) {
    auto handle = TimerHandle::make();
    enqueue(now() + std::max(delay, Duration::zero()), std::move(task), handle.flag());
    return handle;
}

TimerHandle SerialQueue::postRepeating(Duration interval, Task task) {
    auto handle = TimerHandle::make();
    interval = std::max(interval, Duration(1));
    enqueue(now() + interval, std::move(task), handle.flag(), interval);
    return handle;
}

TimePoint SerialQueue::now() const { return std::chrono::steady_clock::now(); }

std::shared_ptr<Wakeup> SerialQueue::makeWakeup(Task task) {
    auto wakeup = std::make_shared<QueueWakeup>(*this, std::move(task));
    std::lock_guard lock(mutex_);
    std::erase_if(wakeups_, [](const auto& weak) { return weak.expired(); });
    wakeups_.push_back(wakeup);
    return wakeup;
}

void SerialQueue::enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled,
                          Duration interval) {
    {
        std::lock_guard lock(mutex_);
        queue_.emplace(std::pair{due, sequence_++}, Entry{std::move(task), std::move(cancelled), interval});
    }
    wakeWorker();
}

void SerialQueue::wakeWorker() { sem_post(&wake_); }

void SerialQueue::run(std::stop_token stop) {
    while (!stop.stop_requested()) {
        bool ran = runFiredWakeups();
        ran = runDueTask() || ran;
        if (!ran) waitForWork();
    }
}

bool SerialQueue::runFiredWakeups() {
    if (!wakeupFired_.exchange(false, std::memory_order_acq_rel)) return false;
    std::vector<std::shared_ptr<QueueWakeup>> fired;  // released after the lock, like any task
    {
        std::lock_guard lock(mutex_);
        for (const auto& weak : wakeups_) {
            auto wakeup = weak.lock();
            if (wakeup && wakeup->takeFired()) fired.push_back(std::move(wakeup));
        }
    }
    for (const auto& wakeup : fired) wakeup->run();
    return !fired.empty();
}

bool SerialQueue::runDueTask() {
    Queue::node_type node;   // declared before the lock: destroyed after it is released
    Entry* entry = nullptr;  // the node's, which keeps it where it is
    TimePoint due{};
    {
        std::lock_guard lock(mutex_);
        if (queue_.empty() || queue_.begin()->first.first > now()) return false;
        entry = &queue_.begin()->second;
        due = queue_.begin()->first.first;
        node = queue_.extract(queue_.begin());
    }
    const auto cancelled = [entry] { return entry->cancelled && entry->cancelled->load(); };
    if (cancelled()) return true;
    entry->task();
    if (entry->interval == Duration::zero() || cancelled()) return true;
    // A repeating timer: the same node goes back in, due one interval after this run was.
    const TimePoint current = now();
    due += entry->interval;
    if (current - due > maximumCatchUp) due = current + entry->interval;
    std::lock_guard lock(mutex_);
    node.key() = {due, sequence_++};
    queue_.insert(std::move(node));
    return true;
}

void SerialQueue::waitForWork() {
    std::optional<TimePoint> due;
    {
        std::lock_guard lock(mutex_);
        if (!queue_.empty()) due = queue_.begin()->first.first;
    }
    // Every post and signal after the look above posts the semaphore, so none is missed; extra
    // counts only cost an empty turn of the loop.
    if (!due) {
        while (sem_wait(&wake_) != 0 && errno == EINTR) {}
        return;
    }
    // steady_clock is CLOCK_MONOTONIC on Linux.
    const auto since = due->time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
    timespec deadline{};
    deadline.tv_sec = static_cast<time_t>(seconds.count());
    deadline.tv_nsec = static_cast<long>(std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds).count());
    while (sem_clockwait(&wake_, CLOCK_MONOTONIC, &deadline) != 0 && errno == EINTR) {}
}

}  // namespace quillon
