#include "core/base/TimerHandle.h"

namespace quillon {

TimerHandle TimerHandle::make() { return TimerHandle(std::make_shared<std::atomic<bool>>(false)); }

void TimerHandle::cancel() const {
    if (cancelled_) cancelled_->store(true, std::memory_order_release);
}

bool TimerHandle::isCancelled() const { return cancelled_ && cancelled_->load(std::memory_order_acquire); }

}  // namespace quillon
