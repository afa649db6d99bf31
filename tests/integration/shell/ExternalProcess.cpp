#include "ExternalProcess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QProcess>
#include <QTimer>

namespace quillon::testing {

bool serveEventsUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    QDeadlineTimer timer(deadline);
    QTimer tick;  // wakes the loop so that outside state is seen even when no event comes
    tick.start(50);
    while (!condition()) {
        if (timer.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

std::optional<ProcessResult> runWhileServingEvents(const QString& program, const QStringList& arguments,
                                                   std::chrono::milliseconds deadline) {
    QProcess process;
    process.start(program, arguments);
    bool ended = false;
    QObject::connect(&process, &QProcess::finished, [&ended] { ended = true; });
    QObject::connect(&process, &QProcess::errorOccurred, [&ended](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) ended = true;
    });
    if (!serveEventsUntil([&] { return ended; }, deadline)) {
        process.kill();
        process.waitForFinished();
        return std::nullopt;
    }
    if (process.exitStatus() != QProcess::NormalExit || process.error() == QProcess::FailedToStart) return std::nullopt;
    return ProcessResult{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

}  // namespace quillon::testing
