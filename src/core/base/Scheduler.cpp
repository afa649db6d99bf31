#include "core/base/Scheduler.h"

#include <atomic>

namespace quillon {

namespace {

// The portable wake-up: one posted task per run, the flag merging the signals in between.
class PostingWakeup final : public Wakeup, public std::enable_shared_from_this<PostingWakeup> {
public:
    PostingWakeup(Scheduler& scheduler, Task task) : scheduler_(scheduler), task_(std::move(task)) {}

    void signal() override {
        if (pending_.exchange(true, std::memory_order_acq_rel)) return;
        scheduler_.post([weak = weak_from_this()] {
            auto self = weak.lock();
            if (!self) return;
            // Cleared before the run: a signal during the task posts the next run.
            self->pending_.store(false, std::memory_order_release);
            self->task_();
        });
    }

private:
    Scheduler& scheduler_;
    Task task_;
    std::atomic<bool> pending_{false};
};

}  // namespace

std::shared_ptr<Wakeup> Scheduler::makeWakeup(Task task) {
    return std::make_shared<PostingWakeup>(*this, std::move(task));
}

}  // namespace quillon
