// The quillon program as a user meets it: started on a desktop with or without a system tray,
// quit from its menu or by the session, started twice.
#include <gtest/gtest.h>

#include <QDir>

#include <signal.h>

#include "ExternalProcess.h"
#include "QuillonProcess.h"
#include "SessionSkip.h"
#include "TrayHost.h"

namespace quillon {
namespace {

using testing::QuillonProcess;
using testing::serveEventsUntil;
using testing::TrayHost;

constexpr QByteArrayView started = "Quillon is starting";
constexpr QByteArrayView noTray = "No system tray is available";

TEST(QuillonProgram, ShowsItsIconInTheTrayAndQuitsFromItsMenu) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    QuillonProcess quillon;
    const qint64 pid = quillon.pid();
    std::optional<QRect> icon;
    ASSERT_TRUE(serveEventsUntil([&] { return (icon = tray.iconOf(pid)).has_value(); })) << quillon.log().toStdString();
    EXPECT_FALSE(quillon.log().contains(noTray));

    // Right-click the icon, then choose the menu's last entry, "Quit".
    ASSERT_TRUE(testing::clickAt(icon->center(), 3));
    std::optional<QRect> menu;
    ASSERT_TRUE(serveEventsUntil([&] { return (menu = tray.popupOf(pid)).has_value(); }));
    ASSERT_TRUE(testing::clickAt(QPoint(menu->center().x(), menu->bottom() - 8), 1));

    EXPECT_EQ(quillon.waitForExit(), 0) << quillon.log().toStdString();
    EXPECT_TRUE(quillon.log().contains("Quit chosen from the status menu"));
    EXPECT_TRUE(quillon.log().contains("Quillon is quitting"));
}

// The session ends a program with SIGTERM; a terminal sends SIGINT (Control-C) or SIGHUP (closed).
TEST(QuillonProgram, QuitsCleanlyWhenTheSessionOrTerminalEndsIt) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(sigabbrev_np(number));
        QuillonProcess quillon;
        const qint64 pid = quillon.pid();
        ASSERT_TRUE(serveEventsUntil([&] { return tray.iconOf(pid).has_value(); })) << quillon.log().toStdString();
        quillon.sendSignal(number);
        EXPECT_EQ(quillon.waitForExit(), 0) << quillon.log().toStdString();
        EXPECT_TRUE(quillon.log().contains(QByteArray("Received SIG") + sigabbrev_np(number)));
        EXPECT_TRUE(quillon.log().contains("Quillon is quitting"));
        EXPECT_FALSE(serveEventsUntil([&] { return tray.iconOf(pid).has_value(); }, std::chrono::milliseconds(0)));
        // Running with the defaults writes no settings.
        EXPECT_FALSE(QDir(quillon.environment().configHome + "/Quillon").exists());
    }
}

TEST(QuillonProgram, RunsWithoutATrayAndShowsItsIconWhenOneStarts) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    QuillonProcess quillon;
    ASSERT_TRUE(quillon.waitForLog(noTray.toByteArray())) << quillon.log().toStdString();
    EXPECT_TRUE(quillon.isRunning());

    // A desktop panel that starts after Quillon (both from the session's autostart) gets the icon.
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    EXPECT_TRUE(serveEventsUntil([&] { return tray.iconOf(quillon.pid()).has_value(); }));

    quillon.sendSignal(SIGTERM);
    EXPECT_EQ(quillon.waitForExit(), 0) << quillon.log().toStdString();
}

TEST(QuillonProgram, ASecondLaunchLeavesTheRunningOneAsItIs) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    auto first = std::make_unique<QuillonProcess>();
    ASSERT_TRUE(serveEventsUntil([&] { return tray.iconOf(first->pid()).has_value(); }));

    {
        QuillonProcess second(first->environment());
        EXPECT_EQ(second.waitForExit(), 0);
        EXPECT_TRUE(second.log().contains("already running")) << second.log().toStdString();
        EXPECT_FALSE(second.log().contains(started));
    }
    EXPECT_TRUE(first->isRunning());
    EXPECT_EQ(tray.iconCountOf(first->pid()), 1);

    // A Quillon that crashed leaves its lock behind; the next launch runs all the same.
    const auto environment = first->environment();
    first->sendSignal(SIGKILL);
    EXPECT_EQ(first->waitForExit(), std::nullopt);
    QuillonProcess next(environment);
    ASSERT_TRUE(next.waitForLog(started.toByteArray())) << next.log().toStdString();
    EXPECT_TRUE(serveEventsUntil([&] { return tray.iconOf(next.pid()).has_value(); }));
    next.sendSignal(SIGTERM);
    EXPECT_EQ(next.waitForExit(), 0);
}

// Desktop menus drop entries that break the desktop entry rules without a word.
TEST(QuillonProgram, ItsDesktopEntryIsOneThatMenusShow) {
    const auto result = testing::runWhileServingEvents(
        "desktop-file-validate", {QStringLiteral(QUILLON_SOURCE_DIR "/resources/quillon.desktop")});
    ASSERT_TRUE(result.has_value()) << "desktop-file-validate (desktop-file-utils) is missing";
    EXPECT_EQ(result->exitCode, 0) << result->standardOutput.toStdString();
    EXPECT_TRUE(result->standardOutput.isEmpty()) << result->standardOutput.toStdString();
}

}  // namespace
}  // namespace quillon
