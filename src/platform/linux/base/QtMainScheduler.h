#pragma once

#include <QObject>

#include "core/base/Scheduler.h"

namespace quillon {

// The main thread's scheduler, on the Qt event loop. Posting is safe from any thread: tasks are
// queued to `context`'s thread (the GUI thread) and timers are started there.
class QtMainScheduler final : public Scheduler {
public:
    explicit QtMainScheduler(QObject* context);

    void post(Task task) override;
    TimerHandle postAfter(Duration delay, Task task) override;
    // A repeating QTimer (precise, whole milliseconds) made once on the GUI thread; cancelling
    // the handle stops it and deletes it at its next timeout.
    TimerHandle postRepeating(Duration interval, Task task) override;
    TimePoint now() const override;

private:
    QObject* context_;
};

}  // namespace quillon
