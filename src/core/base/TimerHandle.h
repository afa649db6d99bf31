#pragma once

#include <atomic>
#include <memory>

namespace quillon {

// A cancellable reference to a delayed task. Copies share the task: cancelling one cancels all.
// A default-made handle refers to nothing; cancelling it does nothing.
class TimerHandle {
public:
    TimerHandle() = default;

    // Made by schedulers: the scheduler keeps a copy of the same flag and checks it before running.
    static TimerHandle make();

    void cancel() const;
    bool isCancelled() const;
    bool isValid() const { return cancelled_ != nullptr; }

    // The flag shared with the scheduler.
    const std::shared_ptr<std::atomic<bool>>& flag() const { return cancelled_; }

private:
    explicit TimerHandle(std::shared_ptr<std::atomic<bool>> cancelled) : cancelled_(std::move(cancelled)) {}

    std::shared_ptr<std::atomic<bool>> cancelled_;
};

}  // namespace quillon
