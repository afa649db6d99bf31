#include "platform/linux/base/QtMainScheduler.h"

#include <QMetaObject>
#include <QThread>
#include <QTimer>

namespace quillon {

QtMainScheduler::QtMainScheduler(QObject* context) : context_(context) {}

void QtMainScheduler::post(Task task) {
    QMetaObject::invokeMethod(context_, std::move(task), Qt::QueuedConnection);
}

TimerHandle QtMainScheduler::postAfter(Duration delay, Task task) {
    auto handle = TimerHandle::make();
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(std::max(delay, Duration::zero()));
    auto start = [context = context_, milliseconds, flag = handle.flag(), task = std::move(task)]() mutable {
        QTimer::singleShot(milliseconds, context, [flag, task = std::move(task)] {
            if (!flag->load()) task();
        });
    };
    // A timer must be started on the thread that owns its context.
    if (QThread::currentThread() == context_->thread()) {
        start();
    } else {
        QMetaObject::invokeMethod(context_, std::move(start), Qt::QueuedConnection);
    }
    return handle;
}

TimerHandle QtMainScheduler::postRepeating(Duration interval, Task task) {
    auto handle = TimerHandle::make();
    const auto milliseconds =
        std::max(std::chrono::ceil<std::chrono::milliseconds>(interval), std::chrono::milliseconds(1));
    auto start = [context = context_, milliseconds, flag = handle.flag(), task = std::move(task)]() mutable {
        if (flag->load()) return;
        auto* timer = new QTimer(context);  // owned by the context until it deletes itself
        timer->setTimerType(Qt::PreciseTimer);
        timer->setInterval(milliseconds);
        QObject::connect(timer, &QTimer::timeout, timer,
                         [timer, flag = std::move(flag), task = std::move(task)] {
                             if (flag->load()) {
                                 timer->stop();
                                 timer->deleteLater();
                                 return;
                             }
                             task();
                         });
        timer->start();
    };
    if (QThread::currentThread() == context_->thread()) {
        start();
    } else {
        QMetaObject::invokeMethod(context_, std::move(start), Qt::QueuedConnection);
    }
    return handle;
}

TimePoint QtMainScheduler::now() const { return std::chrono::steady_clock::now(); }

}  // namespace quillon
