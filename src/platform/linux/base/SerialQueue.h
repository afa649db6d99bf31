#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/base/Scheduler.h"

namespace quillon {

// A serial queue on a worker thread of its own: the mixer, the file recorder, the log ring, the
// Codex client and the speech sessions each get one.
//
// Lock rules: mutex_ guards queue_, sequence_ and wakeups_ only. It is never held while a task
// runs or while a task is destroyed (run, cancelled or dropped), so a task, and the destructor of
// anything a task captured, may post to its own queue. The worker sleeps on a POSIX semaphore
// rather than a condition variable: sem_post() neither locks nor allocates, which is what lets a
// wake-up's signal() come from an audio thread (see makeWakeup).
//
// Tasks run on the worker in due order; fired wake-ups run between tasks. The destructor stops
// and joins the worker; tasks still pending then are dropped unrun.
class SerialQueue final : public Scheduler {
public:
    explicit SerialQueue(std::string label);
    ~SerialQueue() override;

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void post(Task task) override;
    TimerHandle postAfter(Duration delay, Task task) override;
    // A repeating timer's task and queue entry are made once: each run moves the entry back into
    // the queue. A run that finds itself more than `maximumCatchUp` late (the machine slept, or
    // the worker was held up) does not make up the runs it missed: the next is due one interval
    // from now.
    TimerHandle postRepeating(Duration interval, Task task) override;
    TimePoint now() const override;

    static constexpr Duration maximumCatchUp = std::chrono::seconds(1);

    // signal() sets two atomic flags and posts the semaphore: no lock, no allocation, so an audio
    // callback may call it. Making the wake-up takes the lock once.
    std::shared_ptr<Wakeup> makeWakeup(Task task) override;

    const std::string& label() const { return label_; }
    bool isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }

private:
    struct Entry {
        Task task;
        std::shared_ptr<std::atomic<bool>> cancelled;
        Duration interval{};  // zero for a task that runs once
    };
    using Queue = std::map<std::pair<TimePoint, std::uint64_t>, Entry>;
    class QueueWakeup;

    void run(std::stop_token stop);
    bool runFiredWakeups();
    bool runDueTask();
    void waitForWork();
    void enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled,
                 Duration interval = {});
    void wakeWorker();

    std::string label_;
    sem_t wake_{};
    std::atomic<bool> wakeupFired_{false};
    std::mutex mutex_;
    Queue queue_;
    std::uint64_t sequence_ = 0;
    std::vector<std::weak_ptr<QueueWakeup>> wakeups_;
    std::jthread worker_;  // last: starts after everything it uses exists
};

}  // namespace quillon
