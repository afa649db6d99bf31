#include "ExternalProcess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QProcess>
#include <QEventLoop>
#include <QTimer>

namespace quillon::testing {

namespace {
// How often a condition is looked at again when no event of this process tells that it changed.
constexpr std::chrono::milliseconds checkInterval{20};
}  // namespace

bool serveEventsUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    QDeadlineTimer timer(deadline);
    while (!condition()) {
        if (timer.hasExpired()) return false;
        // Serve events as the program's own loop would, waiting for them, for one short turn.
        QEventLoop loop;
        QTimer::singleShot(checkInterval, &loop, &QEventLoop::quit);
        loop.exec();
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
