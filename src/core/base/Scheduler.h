#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "core/base/TimerHandle.h"
#include "core/base/Wakeup.h"

namespace quillon {

using Duration = std::chrono::steady_clock::duration;
using TimePoint = std::chrono::steady_clock::time_point;
using Task = std::function<void()>;

// Every hop and every timer of the core goes through a Scheduler. Production code gets the
// Qt main loop or a worker's serial queue; tests get a ManualScheduler and move time by hand.
//
// Tasks posted to one scheduler run one at a time, in the order they became due; tasks due
// at the same time run in the order they were posted.
class Scheduler {
public:
    virtual ~Scheduler() = default;

    // Runs `task` soon, never inside this call. Safe from any thread.
    virtual void post(Task task) = 0;

    // Runs `task` once `delay` has passed, unless the returned handle was cancelled first.
    // Safe from any thread.
    virtual TimerHandle postAfter(Duration delay, Task task) = 0;

    // Runs `task` every `interval` (which must be positive), first once `interval` has passed,
    // until the returned handle is cancelled. Runs are due at whole intervals from the call, so
    // that a late run does not shift the ones after it: a late run is followed at once by the one
    // it delayed. Once made, the timer allocates nothing per run. Safe from any thread.
    virtual TimerHandle postRepeating(Duration interval, Task task) = 0;

    // This scheduler's clock: monotonic, virtual under test.
    virtual TimePoint now() const = 0;

    // A task that other threads can ask to run again and again (see Wakeup). This default posts
    // the task at the first signal of each run, so a signal may allocate and take this
    // scheduler's lock; SerialQueue, which audio threads wake, overrides it with signals that do
    // neither. The task runs only while the returned wake-up lives; neither may outlive this
    // scheduler.
    virtual std::shared_ptr<Wakeup> makeWakeup(Task task);
};

}  // namespace quillon
