#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "core/base/Scheduler.h"

namespace quillon {

// A scheduler on virtual time. Nothing runs until the owner calls runUntilIdle() or advance():
// tests use one of these for every queue so that timers of seconds run instantly and in a
// deterministic order. Posting is safe from any thread; running belongs to one thread.
//
// Lock rules: mutex_ guards the clock and the queue only. No task is run, and no task is
// destroyed, while it is held: a task's captures may post to this scheduler from their
// destructors, whether the task ran, was cancelled or is dropped with the scheduler.
class ManualScheduler final : public Scheduler {
public:
    explicit ManualScheduler(TimePoint start = TimePoint{} + std::chrono::hours(1));
    ~ManualScheduler() override;

    ManualScheduler(const ManualScheduler&) = delete;
    ManualScheduler& operator=(const ManualScheduler&) = delete;

    void post(Task task) override;
    TimerHandle postAfter(Duration delay, Task task) override;
    TimerHandle postRepeating(Duration interval, Task task) override;
    TimePoint now() const override;

    // Runs every task that is due now, including those that the tasks post for now.
    // Returns how many ran.
    std::size_t runUntilIdle();

    // Moves the clock forward by `by`, running each task when its time comes.
    std::size_t advance(Duration by);

    std::size_t pendingCount() const;
    std::optional<TimePoint> nextDueTime() const;

private:
    struct Entry {
        Task task;
        std::shared_ptr<std::atomic<bool>> cancelled;
        Duration interval{};  // zero for a task that runs once
    };
    using Key = std::pair<TimePoint, std::uint64_t>;
    using Queue = std::map<Key, Entry>;

    // The first task due by `limit`, taken out of the queue with its node; empty if none.
    Queue::node_type takeDue(TimePoint limit);
    // Runs a taken task; a repeating one goes back into the queue, node and all, for its next run.
    void run(Queue::node_type node);
    void enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled,
                 Duration interval = {});

    mutable std::mutex mutex_;
    TimePoint now_;
    std::uint64_t sequence_ = 0;
    Queue queue_;
};

}  // namespace quillon
