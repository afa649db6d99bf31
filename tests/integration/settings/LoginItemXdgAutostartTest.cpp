#include <gtest/gtest.h>

#include <QProcess>
#include <QStandardPaths>

#include "TemporaryHome.h"
#include "core/base/ManualScheduler.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/TestLog.h"
#include "platform/linux/settings/LoginItemXdgAutostart.h"

namespace quillon {
namespace {

using testing::readFile;
using testing::writeFile;

class LoginItemXdgAutostartTest : public ::testing::Test {
protected:
    std::filesystem::path entryPath() const { return home_.configHome() / "autostart" / "quillon.desktop"; }

    testing::TemporaryHome home_;
    LoginItemXdgAutostart loginItem_{home_.configHome(), "/usr/bin/quillon"};
    ManualScheduler ringQueue_;
    testing::TestLog log_{ringQueue_};
    testing::FakeKeyValueStore store_;
};

TEST_F(LoginItemXdgAutostartTest, TurningItOnWritesAValidAutostartEntryAndOffRemovesIt) {
    EXPECT_EQ(loginItem_.entryPath(), entryPath());
    EXPECT_FALSE(loginItem_.isEnabled());
    ASSERT_TRUE(loginItem_.setEnabled(true).has_value());
    EXPECT_TRUE(loginItem_.isEnabled());
    const std::string entry = readFile(entryPath());
    EXPECT_NE(entry.find("\nExec=/usr/bin/quillon\n"), std::string::npos) << entry;

    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    if (!validator.isEmpty()) {
        QProcess validate;
        validate.start(validator, {QString::fromStdString(entryPath().string())});
        ASSERT_TRUE(validate.waitForFinished());
        EXPECT_EQ(validate.exitCode(), 0) << validate.readAllStandardOutput().toStdString();
    }

    ASSERT_TRUE(loginItem_.setEnabled(true).has_value()) << "a second registration is harmless";
    ASSERT_TRUE(loginItem_.setEnabled(false).has_value());
    EXPECT_FALSE(std::filesystem::exists(entryPath()));
    EXPECT_FALSE(loginItem_.isEnabled());
    EXPECT_TRUE(loginItem_.setEnabled(false).has_value()) << "nothing to remove is not an error";
}

TEST_F(LoginItemXdgAutostartTest, AnEntryTheUserTurnedOffInTheDesktopCountsAsOff) {
    const std::string head = "[Desktop Entry]\nType=Application\nName=Quillon\nExec=quillon\n";
    writeFile(entryPath(), head);
    EXPECT_TRUE(loginItem_.isEnabled());
    writeFile(entryPath(), head + "Hidden=true\n");
    EXPECT_FALSE(loginItem_.isEnabled());
    writeFile(entryPath(), head + "X-GNOME-Autostart-enabled=false\n");
    EXPECT_FALSE(loginItem_.isEnabled());
    // The same keys in another group say nothing about the entry.
    writeFile(entryPath(), head + "[Desktop Action Other]\nHidden=true\n");
    EXPECT_TRUE(loginItem_.isEnabled());
}

TEST_F(LoginItemXdgAutostartTest, ExecQuotesPathsThatADesktopWouldSplitOrExpand) {
    struct Case {
        std::filesystem::path executable;
        std::string exec;
    };
    const std::vector<Case> cases = {
        {"/usr/bin/quillon", "/usr/bin/quillon"},
        {"/home/ann/My Apps/quillon", R"("/home/ann/My Apps/quillon")"},
        {"/opt/$HOME/quillon", R"("/opt/\\$HOME/quillon")"},
        {"/opt/100%/quillon", R"("/opt/100%%/quillon")"},
        {R"(/opt/back\slash/quillon)", R"("/opt/back\\\\slash/quillon")"},
    };
    for (const auto& entry : cases) EXPECT_EQ(LoginItemXdgAutostart::execValue(entry.executable), entry.exec);
}

// When the entry cannot be written or removed, the toggle shows what the desktop will really do.
TEST_F(LoginItemXdgAutostartTest, AFailedChangeIsReportedAndTheToggleFallsBackToTheTruth) {
    writeFile(home_.configHome() / "autostart", "a file where the autostart folder belongs");
    SettingsManager settings(store_, loginItem_, log_.logger(LogCategory::settings));
    settings.setOpenAtLogin(true);
    EXPECT_FALSE(settings.openAtLogin());
    ASSERT_EQ(log_.output.messages(LogLevel::error).size(), 1u);
    EXPECT_EQ(log_.output.messages(LogLevel::error).front().rfind("Failed to update login item: ", 0), 0u);

    std::filesystem::remove(home_.configHome() / "autostart");
    ASSERT_TRUE(loginItem_.setEnabled(true).has_value());
    SettingsManager enabled(store_, loginItem_, log_.logger(LogCategory::settings));
    EXPECT_TRUE(enabled.openAtLogin());
    // A folder in place of the entry cannot be removed as a file.
    std::filesystem::remove(entryPath());
    std::filesystem::create_directories(entryPath() / "occupied");
    enabled.setOpenAtLogin(false);
    EXPECT_EQ(log_.output.messages(LogLevel::error).size(), 2u);
    EXPECT_FALSE(enabled.openAtLogin());
}

}  // namespace
}  // namespace quillon
