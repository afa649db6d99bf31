#pragma once

#include <QByteArray>
#include <QProcess>
#include <QTemporaryDir>

#include <optional>

namespace quillon::testing {

// The real quillon program, started as a user would start it, with a home of its own: private
// configuration and runtime folders, so that it finds no settings and no other Quillon.
class QuillonProcess {
public:
    struct Environment {
        QString configHome;
        QString runtimeDirectory;
    };

    // Starts it in a fresh environment, or in `shared` to meet another instance there.
    explicit QuillonProcess(std::optional<Environment> shared = std::nullopt);
    ~QuillonProcess();
    QuillonProcess(const QuillonProcess&) = delete;
    QuillonProcess& operator=(const QuillonProcess&) = delete;

    qint64 pid() const { return process_.processId(); }
    const Environment& environment() const { return environment_; }
    bool isRunning() const { return process_.state() == QProcess::Running; }

    // What it wrote to standard error so far (its log).
    QByteArray log();
    bool waitForLog(const QByteArray& text);

    void sendSignal(int number);
    // Its exit status once it ended normally; absent if it crashed or kept running.
    std::optional<int> waitForExit();

private:
    QTemporaryDir home_;
    Environment environment_;
    QProcess process_;
    QByteArray log_;
};

}  // namespace quillon::testing
