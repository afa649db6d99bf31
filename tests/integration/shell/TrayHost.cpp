#include "TrayHost.h"

#include <QRegularExpression>
#include <QSystemTrayIcon>

#include "ExternalProcess.h"

namespace quillon::testing {

namespace {

QStringList lines(const std::optional<ProcessResult>& result) {
    if (!result || result->exitCode != 0) return {};
    return QString::fromUtf8(result->standardOutput).split(u'\n', Qt::SkipEmptyParts);
}

// Window ids of `pid`, as xdotool finds them by their _NET_WM_PID.
QStringList windowsOf(qint64 pid, bool onlyVisible) {
    QStringList arguments = {"search"};
    if (onlyVisible) arguments << "--onlyvisible";
    arguments << "--pid" << QString::number(pid);
    QStringList ids;
    for (const QString& id : lines(runWhileServingEvents("xdotool", arguments))) ids << id.trimmed();
    return ids;
}

std::optional<QRect> geometryOf(const QString& windowId) {
    const auto result = runWhileServingEvents("xwininfo", {"-id", windowId});
    if (!result || result->exitCode != 0) return std::nullopt;
    const QString text = QString::fromUtf8(result->standardOutput);
    auto number = [&](const char* label) {
        const auto match = QRegularExpression(QString(label) + QStringLiteral(":\\s*(-?\\d+)")).match(text);
        return match.hasMatch() ? match.captured(1).toInt() : -1;
    };
    return QRect(number("Absolute upper-left X"), number("Absolute upper-left Y"), number("Width"), number("Height"));
}

// Decimal ids of the windows inside trayer's panel (the one window of class "panel").
QStringList panelChildren() {
    QStringList children;
    for (const QString& panel : lines(runWhileServingEvents("xdotool", {"search", "--classname", "^panel$"}))) {
        const auto tree = runWhileServingEvents("xwininfo", {"-tree", "-id", panel.trimmed()});
        if (!tree) continue;
        const auto matches = QRegularExpression(QStringLiteral("^\\s+(0x[0-9a-f]+)"), QRegularExpression::MultilineOption)
                                 .globalMatch(QString::fromUtf8(tree->standardOutput));
        for (const auto& match : matches) {
            bool ok = false;
            children << QString::number(match.captured(1).toULongLong(&ok, 16));
        }
    }
    return children;
}

}  // namespace

TrayHost::TrayHost() {
    process_.start("trayer", {"--edge", "top", "--align", "right", "--widthtype", "request", "--height", "24",
                              "--transparent", "false"});
    process_.waitForStarted();
}

TrayHost::~TrayHost() {
    process_.terminate();
    if (!process_.waitForFinished(5000)) {
        process_.kill();
        process_.waitForFinished();
    }
}

bool TrayHost::waitUntilReady() {
    if (process_.state() != QProcess::Running) return false;
    return serveEventsUntil([] { return QSystemTrayIcon::isSystemTrayAvailable(); });
}

std::optional<QRect> TrayHost::iconOf(qint64 pid) {
    const QStringList inPanel = panelChildren();
    for (const QString& window : windowsOf(pid, false)) {
        if (inPanel.contains(window)) return geometryOf(window);
    }
    return std::nullopt;
}

int TrayHost::iconCountOf(qint64 pid) {
    const QStringList inPanel = panelChildren();
    int count = 0;
    for (const QString& window : windowsOf(pid, false)) count += inPanel.contains(window) ? 1 : 0;
    return count;
}

std::optional<QRect> TrayHost::popupOf(qint64 pid) {
    const QStringList inPanel = panelChildren();
    for (const QString& window : windowsOf(pid, true)) {
        if (!inPanel.contains(window)) return geometryOf(window);
    }
    return std::nullopt;
}

bool clickAt(QPoint point, int button) {
    const auto result = runWhileServingEvents(
        "xdotool", {"mousemove", QString::number(point.x()), QString::number(point.y()), "click", QString::number(button)});
    return result && result->exitCode == 0;
}


}  // namespace quillon::testing
