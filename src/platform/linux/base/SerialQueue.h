#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "core/base/Scheduler.h"

namespace quillon {

// A serial queue on a worker thread of its own: the mixer, the file recorder, the log ring and
// the Codex client each get one.
//
// Lock rules: mutex_ guards queue_ and sequence_ only; it is never held while a task runs, so a
// task may post to its own queue. Tasks run on the worker in due order. The destructor asks the
// worker to stop, wakes it and joins it; tasks still pending then are dropped unrun.
class SerialQueue final : public Scheduler {
public:
    explicit SerialQueue(std::string label);
    ~SerialQueue() override;

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void post(Task task) override;
    TimerHandle postAfter(Duration delay, Task task) override;
    TimePoint now() const override;

    const std::string& label() const { return label_; }
    bool isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }

private:
    struct Entry {
        Task task;
        std::shared_ptr<std::atomic<bool>> cancelled;
    };

    void run(std::stop_token stop);
    void enqueue(TimePoint due, Task task, std::shared_ptr<std::atomic<bool>> cancelled);

    std::string label_;
    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::map<std::pair<TimePoint, std::uint64_t>, Entry> queue_;
    std::uint64_t sequence_ = 0;
    std::jthread worker_;  // last: starts after everything it uses exists, stops first
};

}  // namespace quillon
