// The quillon program as a user meets it: started on a desktop with or without a system tray,
// quit from its menu or by the session, started twice.
#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>

#include <signal.h>

#include "Desktop.h"

namespace quillon {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::QuillonProcess;
using testing::TrayHost;
using QuillonProgram = testing::DesktopTest;

// Quit from its menu (0 here), the session's SIGTERM, a terminal's SIGINT (Control-C) or SIGHUP.
TEST_F(QuillonProgram, ShowsItsIconInTheTrayAndQuitsCleanlyFromItsMenuOrBySignal) {
    TrayHost tray;
    ASSERT_TRUE(tray.ready());
    QTemporaryDir home;
    for (int number : {0, SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(number == 0 ? "Quit" : sigabbrev_np(number));
        QuillonProcess quillon(QUILLON_BINARY, home.path());
        const auto icon = tray.iconOf(quillon.processId());
        ASSERT_TRUE(icon) << quillon.log();
        if (number == 0) {
            ASSERT_TRUE(testing::clickOn(*icon, 3));
            // Up picks the menu's last entry, "Quit"; the keys go on until the menu is there to take them.
            testing::serveEventsUntil([&] {
                const bool pressed = testing::run("xdotool", {"key", "Up", "Return"}).has_value();
                return !pressed || quillon.state() == QProcess::NotRunning;
            });
        } else {
            ::kill(static_cast<pid_t>(quillon.processId()), number);
        }
        EXPECT_EQ(quillon.waitForExit(), 0) << quillon.log();
        const std::string why = number == 0 ? "Quit chosen from the status menu" : "Received SIG";
        EXPECT_THAT(quillon.log(), HasSubstr(why + (number == 0 ? "" : sigabbrev_np(number))));
        EXPECT_THAT(quillon.log(), HasSubstr("Quillon is quitting"));
    }
    EXPECT_FALSE(QDir(home.filePath("config/Quillon")).exists()) << "the defaults are never written";
}

TEST_F(QuillonProgram, RunsWithoutATrayAndNeverTwiceAtOnce) {
    QTemporaryDir home;
    QuillonProcess first(QUILLON_BINARY, home.path());
    ASSERT_TRUE(first.waitForLog("No system tray is available")) << first.log();
    // A panel that starts after Quillon (both from the session's autostart) gets the icon.
    TrayHost tray;
    ASSERT_TRUE(tray.ready());
    ASSERT_TRUE(tray.iconOf(first.processId()));
    {
        QuillonProcess second(QUILLON_BINARY, home.path());
        EXPECT_EQ(second.waitForExit(), 0);
        EXPECT_THAT(second.log(), AllOf(HasSubstr("already running"), Not(HasSubstr("Quillon is starting"))));
    }
    EXPECT_EQ(first.state(), QProcess::Running);
    EXPECT_TRUE(tray.iconOf(first.processId())) << "the first runs on as it was";

    // A Quillon that crashed leaves its lock behind; the next launch runs all the same.
    ::kill(static_cast<pid_t>(first.processId()), SIGKILL);
    EXPECT_EQ(first.waitForExit(), std::nullopt);
    QuillonProcess next(QUILLON_BINARY, home.path());
    EXPECT_TRUE(tray.iconOf(next.processId())) << next.log();
}

}  // namespace
}  // namespace quillon
