#include "QuillonProcess.h"

#include <QDir>
#include <QProcessEnvironment>

#include <signal.h>

#include "ExternalProcess.h"

namespace quillon::testing {

QuillonProcess::QuillonProcess(std::optional<Environment> shared) {
    if (shared) {
        environment_ = *shared;
    } else {
        environment_ = {home_.filePath("config"), home_.filePath("runtime")};
        QDir().mkpath(environment_.configHome);
        QDir().mkpath(environment_.runtimeDirectory);
        QFile::setPermissions(environment_.runtimeDirectory, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                                 QFileDevice::ExeOwner);
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", environment_.configHome);
    environment.insert("XDG_RUNTIME_DIR", environment_.runtimeDirectory);
    environment.insert("QUILLON_LOG_LEVEL", "debug");
    process_.setProcessEnvironment(environment);
    QObject::connect(&process_, &QProcess::readyReadStandardError, [this] { log_ += process_.readAllStandardError(); });
    process_.start(QStringLiteral(QUILLON_BINARY), {});
    process_.waitForStarted();
}

QuillonProcess::~QuillonProcess() {
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

QByteArray QuillonProcess::log() {
    log_ += process_.readAllStandardError();
    return log_;
}

bool QuillonProcess::waitForLog(const QByteArray& text) {
    return serveEventsUntil([&] { return log().contains(text); });
}

void QuillonProcess::sendSignal(int number) { ::kill(static_cast<pid_t>(process_.processId()), number); }

std::optional<int> QuillonProcess::waitForExit() {
    if (!serveEventsUntil([&] { return process_.state() == QProcess::NotRunning; })) return std::nullopt;
    log();
    if (process_.exitStatus() != QProcess::NormalExit) return std::nullopt;
    return process_.exitCode();
}

}  // namespace quillon::testing
