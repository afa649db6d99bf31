#include "core/base/ManualScheduler.h"

#include <algorithm>

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

TimerHandle ManualScheduler::postRepeating(Duration interval, Task task) {
    auto handle = TimerHandle::make();
    interval = std::max(interval, Duration(1));
    std::lock_guard lock(mutex_);
    enqueue(now_ + interval, std::move(task), handle.flag(), interval);
    return handle;
}

TimePoint ManualScheduler::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void ManualScheduler::enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled,
                              Duration interval) {
    queue_.emplace(Key{due, sequence_++}, Entry{std::move(task), std::move(cancelled), interval});
}

ManualScheduler::Queue::node_type ManualScheduler::takeDue(TimePoint limit) {
    for (;;) {
        Queue::node_type dropped;  // a cancelled task: declared before the lock, so destroyed after it
        std::lock_guard lock(mutex_);
        if (queue_.empty() || queue_.begin()->first.first > limit) return {};
        auto first = queue_.begin();
        if (first->first.first > now_) now_ = first->first.first;
        const auto& cancelled = first->second.cancelled;
        const bool live = !cancelled || !cancelled->load();
        auto node = queue_.extract(first);
        if (live) return node;
        dropped = std::move(node);
    }
}

void ManualScheduler::run(Queue::node_type node) {
    // The node keeps its key and entry where they are, so these stay valid while it is out.
    const Key& key = node.key();
    Entry& entry = node.mapped();
    entry.task();
    if (entry.interval == Duration::zero()) return;  // the node goes here, outside the lock
    std::lock_guard lock(mutex_);
    node.key() = Key{key.first + entry.interval, sequence_++};
    queue_.insert(std::move(node));
}

std::size_t ManualScheduler::runUntilIdle() {
    std::size_t count = 0;
    while (auto node = takeDue(now())) {
        run(std::move(node));
        ++count;
    }
    return count;
}

std::size_t ManualScheduler::advance(Duration by) {
    const TimePoint target = now() + by;
    std::size_t count = 0;
    while (auto node = takeDue(target)) {
        run(std::move(node));
        ++count;
    }
    std::lock_guard lock(mutex_);
    now_ = target;
    return count;
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
