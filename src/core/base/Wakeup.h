#pragma once

namespace quillon {

// A standing task on a scheduler that other threads ask to run: the consumer side of a hand-over
// such as SpscRing. Signals given before the task runs merge into one run, and a signal given
// while it runs makes it run once more afterwards. Made by Scheduler::makeWakeup().
class Wakeup {
public:
    virtual ~Wakeup() = default;

    // Asks for one run of the task, soon, on its scheduler. Safe from any thread; whether it may
    // allocate or lock is up to the scheduler (see Scheduler::makeWakeup).
    virtual void signal() = 0;
};

}  // namespace quillon
