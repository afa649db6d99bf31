// The files behind the user's settings: the settings file and the autostart entry, in a private
// XDG configuration folder for each test.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QProcess>
#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>

#include "SpeechTestFiles.h"
#include "core/base/ManualScheduler.h"
#include "core/settings/SettingsManager.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/settings/KeyValueStoreQSettings.h"
#include "platform/linux/settings/LoginItemXdgAutostart.h"

namespace quillon {
namespace {

using testing::readFile;
using Value = KeyValueStore::Value;

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}


class SettingsFilesTest : public ::testing::Test {
protected:
    KeyValueStoreQSettings openStore() {
        return KeyValueStoreQSettings(configHome_, log_.logger(LogCategory::settings));
    }
    std::vector<std::string> errors() const { return log_.output.messages(LogLevel::error); }

    QTemporaryDir home_;
    const std::filesystem::path configHome_{home_.path().toStdString()};
    const std::filesystem::path file_ = configHome_ / "Quillon" / "Quillon.conf";
    const std::filesystem::path entry_ = configHome_ / "autostart" / "quillon.desktop";
    ManualScheduler ringQueue_;
    testing::TestLog log_{ringQueue_};
    testing::FakeLoginItem loginItem_;
};

// Written by one run of the program, read by the next: INI text keeps no types, so text that
// looks like a number or a flag must not come back as one.
TEST_F(SettingsFilesTest, ValuesComeBackWithTheirTypeAfterARestart) {
    const std::vector<Value> cases = {
        true, std::numeric_limits<std::int64_t>::min(), 0.3, std::string("42"), std::string("false"),
        std::string("nan"), std::string("Quillon, Qt"), std::string("  teh -> the\nrecieve -> receive\n"),
        std::string("@Variant(x) [General] ; # = \"q\" \\ % Zwölf — 日本語")};
    for (std::size_t index = 0; index < cases.size(); ++index)
        openStore().setValue(std::to_string(index), cases[index]);
    openStore().setValue("whole", 300.0);
    // QSettings shares what it parsed within one process; a file changed on disk is parsed again.
    std::filesystem::last_write_time(file_,
                                     std::filesystem::last_write_time(file_) - std::chrono::seconds(10));
    auto store = openStore();
    for (std::size_t index = 0; index < cases.size(); ++index)
        EXPECT_EQ(store.value(std::to_string(index)), cases[index]);
    EXPECT_EQ(store.value("whole"), Value(std::int64_t{300}))
        << "a real with no fraction is written as a whole number";
    EXPECT_FALSE(store.value("neverWritten").has_value());
}

// A settings file the program cannot make sense of, found so at start or before a write, gives
// the defaults (or what was read), keeps changes for this run only, and is never touched.
TEST_F(SettingsFilesTest, AnUnreadableOrCorruptSettingsFileIsNeverOverwritten) {
    const std::vector<std::function<void()>> cases = {
        [&] { writeFile(file_, std::string("hotkeyKeyCode=30\n\x89PNG\r\n\x1a\n\0\0", 27)); },
        [&] { writeFile(file_, "hotkeyKeyCode=30\ntranscriptionGlossary=caf\xe9\n"); },  // not UTF-8
        [&] { writeFile(file_, "hotkeyKeyCode=30\nThese are not settings at all.\n"); },
        [&] { writeFile(file_, "[General\nhotkeyKeyCode=30\n"); },
        [&] { ::mkfifo(file_.c_str(), 0600); },  // would block whoever opens it to read
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        std::filesystem::remove_all(file_.parent_path());
        std::filesystem::create_directories(file_.parent_path());
        cases[index]();
        const bool regular = std::filesystem::is_regular_file(file_);
        const std::string content = regular ? readFile(file_) : "";
        log_.output.clear();
        {
            auto store = openStore();
            SettingsManager settings(store, loginItem_, log_.logger(LogCategory::settings));
            EXPECT_EQ(settings.hotkeyKeyCode(), 0) << index;
            ASSERT_EQ(errors().size(), 1u) << index;
            EXPECT_NE(errors().front().find(file_.string()), std::string::npos) << errors().front();
            settings.setHotkeyKeyCode(44);
            EXPECT_EQ(settings.hotkeyKeyCode(), 44) << index;
        }
        EXPECT_EQ(regular ? readFile(file_) : "", content) << index;
        EXPECT_EQ(std::filesystem::is_regular_file(file_), regular) << index;
    }

    // Written by hand, then saved half-way by an editor while Quillon runs.
    std::filesystem::remove(file_);
    writeFile(file_, "[General]\nhotkeyKeyCode=30\ntranscriptionGlossary=Quillon, PocketSphinx\n");
    auto store = openStore();
    EXPECT_EQ(store.value("transcriptionGlossary"), Value(std::string("Quillon, PocketSphinx")));
    writeFile(file_, "[General]\nhotkeyKeyCode=30\nhalf a line\n");
    store.setValue("soundFeedbackEnabled", false);
    EXPECT_EQ(store.value("soundFeedbackEnabled"), Value(false));
    EXPECT_EQ(store.value("hotkeyKeyCode"), Value(std::int64_t{30})) << "what was read stays";
    EXPECT_EQ(readFile(file_), "[General]\nhotkeyKeyCode=30\nhalf a line\n");
}

// Paths a desktop would split at spaces or expand ($, %) are quoted; the entry stays valid.
TEST_F(SettingsFilesTest, TurningAutostartOnWritesAValidEntryThatStartsQuillonAndOffRemovesIt) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"/usr/bin/quillon", "/usr/bin/quillon"},
        {"/home/ann/My Apps/quillon", R"("/home/ann/My Apps/quillon")"},
        {R"(/opt/$HOME/100%/back\slash/quillon)", R"("/opt/\\$HOME/100%%/back\\\\slash/quillon")"},
    };
    for (const auto& [executable, exec] : cases) {
        LoginItemXdgAutostart loginItem(configHome_, executable);
        for (int round = 0; round < 2; ++round) ASSERT_TRUE(loginItem.setEnabled(true).has_value()) << round;
        EXPECT_TRUE(loginItem.isEnabled());
        EXPECT_NE(readFile(entry_).find("\nExec=" + exec + "\n"), std::string::npos) << readFile(entry_);
        QProcess validate;
        validate.start("desktop-file-validate", {QString::fromStdString(entry_.string())});
        ASSERT_TRUE(validate.waitForFinished()) << "desktop-file-validate (desktop-file-utils) is needed";
        EXPECT_EQ(validate.readAll().toStdString(), "");
        for (int round = 0; round < 2; ++round) ASSERT_TRUE(loginItem.setEnabled(false).has_value()) << round;
        EXPECT_FALSE(std::filesystem::exists(entry_));
        EXPECT_FALSE(loginItem.isEnabled());
    }
    // An entry the user turned off in the desktop's settings counts as off; the same keys in
    // another group say nothing about it.
    LoginItemXdgAutostart loginItem(configHome_, "/usr/bin/quillon");
    for (const auto& [tail, enabled] :
         std::vector<std::pair<std::string, bool>>{{"Hidden=true\n", false},
                                                   {"X-GNOME-Autostart-enabled=false\n", false},
                                                   {"[Desktop Action Other]\nHidden=true\n", true}}) {
        writeFile(entry_, "[Desktop Entry]\nType=Application\nName=Quillon\nExec=quillon\n" + tail);
        EXPECT_EQ(loginItem.isEnabled(), enabled) << tail;
    }
}

}  // namespace
}  // namespace quillon
