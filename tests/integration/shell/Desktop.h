#pragma once

// Helpers for tests on the desktop session's X server: another program run while this one serves
// its events, trayer as the system tray, and the quillon program itself.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <utility>

#include "DesktopSession.h"

namespace quillon::testing {

// Every test here needs the desktop session's X server; without one it skips and says why.
class DesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto why = sessionLacks({"X server"}); !why.empty()) GTEST_SKIP() << why;
    }
};

// Turns the event loop until `condition` holds or `limit` passes; returns the condition. It is
// looked at again every 20 ms, as it may hang on other processes (the X server, a tray).
inline bool serveEventsUntil(const std::function<bool()>& condition,
                             std::chrono::seconds limit = std::chrono::seconds(20)) {
    QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        QEventLoop loop;
        QTimer::singleShot(20, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// The standard output of a program run to its end while this process serves events (so that
// the program can ask it for the clipboard, say); absent unless it ran and exited with 0.
inline std::optional<QByteArray> run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    const auto ended = [&] { return process.state() == QProcess::NotRunning; };
    if (!process.waitForStarted() || !serveEventsUntil(ended)) {
        process.kill();
        process.waitForFinished();
        return std::nullopt;
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) return std::nullopt;
    return process.readAllStandardOutput();
}

inline QStringList lines(const QString& program, const QStringList& arguments) {
    return QString::fromUtf8(run(program, arguments).value_or("")).split(u'\n', Qt::SkipEmptyParts);
}

// Clicks `button` (1 left, 2 middle, 3 right) on an X window, as the user would.
inline bool clickOn(const QString& window, int button) {
    const QString clicked = QString::number(button);
    return run("xdotool", {"mousemove", "--window", window, "8", "8", "click", clicked}).has_value();
}

// Debian's trayer, a small XEmbed system tray, as the session's tray while it lives.
class TrayHost : public QProcess {
public:
    TrayHost() {
        start("trayer", {"--edge", "top", "--align", "right", "--widthtype", "request"});
        ready_ = waitForStarted() && serveEventsUntil(&QSystemTrayIcon::isSystemTrayAvailable);
    }
    ~TrayHost() override {
        kill();
        waitForFinished();
    }
    bool ready() const { return ready_; }

    // The window of process `pid`'s icon in trayer's panel, once the panel holds one.
    std::optional<QString> iconOf(qint64 pid) {
        std::optional<QString> icon;
        serveEventsUntil([&] {
            QStringList inPanel;  // xwininfo starts each line of the tree with a window's id
            const QString panel = lines("xdotool", {"search", "--classname", "^panel$"}).value(0);
            for (const QString& line : lines("xwininfo", {"-int", "-tree", "-id", panel})) {
                inPanel << line.trimmed().section(u' ', 0, 0);
            }
            for (const QString& window : lines("xdotool", {"search", "--pid", QString::number(pid)})) {
                if (inPanel.contains(window)) icon = window;
            }
            return icon.has_value();
        });
        return icon;
    }

private:
    bool ready_ = false;
};

// The real quillon program (`binary`), started as a user would start it, with its configuration in
// `home`/config and its runtime folder (where the running one keeps its lock) in `home`; `more`
// sets further variables of its environment.
class QuillonProcess : public QProcess {
public:
    QuillonProcess(const QString& binary, const QString& home,
                   const QList<std::pair<QString, QString>>& more = {}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_CONFIG_HOME", home + "/config");
        environment.insert("XDG_RUNTIME_DIR", home);
        for (const auto& [name, value] : more) environment.insert(name, value);
        setProcessEnvironment(environment);
        setProcessChannelMode(QProcess::MergedChannels);
        start(binary, {});
        waitForStarted();
    }
    ~QuillonProcess() override {
        kill();
        waitForFinished();
    }
    // What it logged so far.
    std::string log() { return peek(bytesAvailable()).toStdString(); }
    // How many of its windows are on screen now.
    qsizetype visibleWindows() {
        return lines("xdotool", {"search", "--onlyvisible", "--pid", QString::number(processId())}).size();
    }
    bool waitForLog(const std::string& text) {
        return serveEventsUntil([&] { return log().find(text) != std::string::npos; });
    }
    // Its exit status once it ended normally; absent if it crashed or kept running.
    std::optional<int> waitForExit() {
        if (!serveEventsUntil([&] { return state() == NotRunning; }) || exitStatus() != NormalExit) return {};
        return exitCode();
    }
};

}  // namespace quillon::testing
