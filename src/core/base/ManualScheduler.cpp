#include "core/base/ManualScheduler.h"

namespace quillon {

ManualScheduler::ManualScheduler(TimePoint start) : now_(start) {}

ManualScheduler::~ManualScheduler() {
    // Tasks never run are dropped outside the lock, round after round: what their captures post
    // on the way out is dropped in the next round.
    for (;;) {
        std::map<Key, Entry> dropped;
        {
            std::lock_guard lock(mutex_);
            dropped.swap(queue_);
        }
        if (dropped.empty()) return;
    }
}

void ManualScheduler::post(Task task) {
    std::lock_guard lock(mutex_);
    enqueue(now_, std::move(task), nullptr);
}

TimerHandle ManualScheduler::postAfter(Duration delay, Task task) {
    auto handle = TimerHandle::make();
    std::lock_guard lock(mutex_);
    enqueue(now_ + std::max(delay, Duration::zero()), std::move(task), handle.flag());
    return handle;
}

TimePoint ManualScheduler::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void ManualScheduler::enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled) {
    queue_.emplace(Key{due, sequence_++}, Entry{std::move(task), std::move(cancelled)});
}

std::optional<ManualScheduler::Entry> ManualScheduler::takeDue(TimePoint limit) {
    for (;;) {
        Entry dropped;  // a cancelled task: declared before the lock, so destroyed after it
        std::lock_guard lock(mutex_);
        if (queue_.empty() || queue_.begin()->first.first > limit) return std::nullopt;
        auto first = queue_.begin();
        if (first->first.first > now_) now_ = first->first.first;
        Entry entry = std::move(first->second);
        queue_.erase(first);
        if (!entry.cancelled || !entry.cancelled->load()) return entry;
        dropped = std::move(entry);
    }
}

std::size_t ManualScheduler::runUntilIdle() {
    std::size_t count = 0;
    while (auto entry = takeDue(now())) {
        entry->task();
        ++count;
    }
    return count;
}

std::size_t ManualScheduler::advance(Duration by) {
    const TimePoint target = now() + by;
    std::size_t count = 0;
    while (auto entry = takeDue(target)) {
        entry->task();
        ++count;
    }
    std::lock_guard lock(mutex_);
    now_ = target;
    return count;
}

bool ManualScheduler::runNext() {
    auto due = nextDueTime();
    if (!due) return false;
    auto entry = takeDue(*due);
    if (!entry) return false;
    entry->task();
    runUntilIdle();
    return true;
}

std::size_t ManualScheduler::pendingCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& [key, entry] : queue_) {
        if (!entry.cancelled || !entry.cancelled->load()) ++count;
    }
    return count;
}

std::optional<TimePoint> ManualScheduler::nextDueTime() const {
    std::lock_guard lock(mutex_);
    for (const auto& [key, entry] : queue_) {
        if (!entry.cancelled || !entry.cancelled->load()) return key.first;
    }
    return std::nullopt;
}

}  // namespace quillon
