// Quillon's settings and transcript windows, driven as a screen-reader user drives them: found and
// operated through the accessibility bus, keys pressed on the X server, the files read back.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QTemporaryDir>

#include "../shell/Desktop.h"
#include "../speech/SpeechTestFiles.h"
#include "AtspiNode.h"

namespace quillon {
namespace {

using testing::AtspiNode;
using testing::QuillonProcess;
using testing::serveEventsUntil;
using testing::waitForNode;
using QuillonWindows = testing::DesktopTest;

QString readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// With QUILLON_SCREENSHOT_DIR set, the README's pictures of the window titled `title`.
void screenshot(const QString& title, const QString& file) {
    const char* folder = std::getenv("QUILLON_SCREENSHOT_DIR");
    if (folder == nullptr) return;
    const QString window = testing::lines("xdotool", {"search", "--name", "^" + title + "$"}).value(0);
    // Taken once two grabs in a row agree: the window has finished painting.
    QImage last;
    QImage shot;
    serveEventsUntil([&] {
        last =
            std::exchange(shot, QGuiApplication::primaryScreen()->grabWindow(window.toULongLong()).toImage());
        return !shot.isNull() && shot == last;
    });
    shot.save(QString(folder) + "/" + file);
}

// The program run again with `arguments`, in `quillon`'s environment, to its end.
testing::ProcessResult launchAgain(const QString& home, const std::vector<std::string>& arguments) {
    std::vector<std::string> argv{QUILLON_BINARY};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return testing::runProcess(argv, {{"XDG_CONFIG_HOME", (home + "/config").toStdString()},
                                      {"XDG_RUNTIME_DIR", home.toStdString()}});
}

// The transcript window titled `title` comes to show `expected`. Its text is found afresh at each
// look: the page of the transcript is another while the file is transcribed.
void expectTranscript(QuillonProcess& quillon, const std::string& title, const std::string& expected) {
    const auto shown = [&] {
        const auto window = waitForNode(quillon, "", title);
        const auto node = window ? window->find("text", "Transcript") : std::nullopt;
        return node ? node->text() : std::string();
    };
    serveEventsUntil([&] { return shown() == expected; });
    EXPECT_EQ(shown(), expected) << title << "\n" << quillon.log();
}

TEST_F(QuillonWindows, SettingsFromTheTrayMenuStoreEachChangeAndTakeANewShortcutAtOnce) {
    testing::TrayHost tray;
    ASSERT_TRUE(tray.ready());
    QTemporaryDir home;
    QuillonProcess quillon(QUILLON_BINARY, home.path());
    const auto icon = tray.iconOf(quillon.processId());
    ASSERT_TRUE(icon) << quillon.log();
    // The tray's menu, once it is on screen: Up twice from the bottom is "Settings…", above "Quit".
    const auto before = quillon.visibleWindows();
    ASSERT_TRUE(testing::clickOn(*icon, 3));
    ASSERT_TRUE(serveEventsUntil([&] { return quillon.visibleWindows() > before; }));
    ASSERT_TRUE(testing::run("xdotool", {"key", "Up", "Up", "Return"}));
    ASSERT_TRUE(waitForNode(quillon, "", "Quillon Settings")) << quillon.log();

    // A correction typed into the table is stored at once, with the arrow.
    const QString settingsFile = home.filePath("config/Quillon/Quillon.conf");
    const auto heardAs = waitForNode(quillon, "text", "Heard as");
    const auto replaceWith = waitForNode(quillon, "text", "Replace with");
    ASSERT_TRUE(heardAs && replaceWith);
    ASSERT_TRUE(heardAs->setText("my mother"));
    ASSERT_TRUE(replaceWith->setText("Mom"));
    EXPECT_TRUE(serveEventsUntil([&] {
        return readAll(settingsFile).contains(QStringLiteral("my mother → Mom"));
    })) << readAll(settingsFile).toStdString();

    screenshot("Quillon Settings", "settings-window.png");

    // The new shortcut is pressed while the window holds the keyboard, shown, applied and then
    // works without a restart.
    auto shortcut = waitForNode(quillon, "push button", "Recording shortcut: Ctrl Super");
    ASSERT_TRUE(shortcut) << quillon.log();
    ASSERT_TRUE(shortcut->press());
    const auto apply = waitForNode(quillon, "push button", "Apply");
    ASSERT_TRUE(apply);
    ASSERT_TRUE(waitForNode(quillon, "", "Recording shortcut: No key")) << quillon.log();
    // Applied while the keys are held, as a user clicks Apply with the other hand.
    ASSERT_TRUE(testing::run("xdotool", {"keydown", "Control_L", "keydown", "Shift_L"}));
    EXPECT_TRUE(waitForNode(quillon, "", "Recording shortcut: Ctrl Shift")) << quillon.log();
    // The button clicks a moment after it is pressed: the keys are let go once it has.
    ASSERT_TRUE(apply->press());
    EXPECT_TRUE(quillon.waitForLog("Recording hotkey set to Ctrl Shift")) << quillon.log();
    ASSERT_TRUE(testing::run("xdotool", {"keyup", "Shift_L", "keyup", "Control_L"}));
    EXPECT_TRUE(readAll(settingsFile).contains(QStringLiteral("hotkeyModifiers=393216")))
        << readAll(settingsFile).toStdString();
    ASSERT_TRUE(testing::run(
        "xdotool", {"keydown", "Control_L", "keydown", "Shift_L", "keyup", "Shift_L", "keyup", "Control_L"}));
    EXPECT_TRUE(quillon.waitForLog("Hotkey matched via flagsChanged! modifiers=393216")) << quillon.log();

    // The correction applies to the next file, without a restart.
    EXPECT_EQ(launchAgain(home.path(), {testing::media("call.wav").string()}).exitCode, 0);
    expectTranscript(quillon, "call.wav", "please call Mom tomorrow morning");
}

TEST_F(QuillonWindows, FilesHandedToTheRunningQuillonOpenTranscriptWindows) {
    QTemporaryDir home;
    QuillonProcess quillon(QUILLON_BINARY, home.path());
    ASSERT_TRUE(quillon.waitForLog("Quillon is starting")) << quillon.log();

    // A sound file and a video, at once: each gets a window of its own.
    const auto handedOver =
        launchAgain(home.path(), {testing::media("call.wav").string(), testing::media("call.mov").string()});
    EXPECT_EQ(handedOver.exitCode, 0) << handedOver.err;
    const std::string expected = "please call my mother tomorrow morning";
    for (const std::string title : {"call.wav", "call.mov"}) expectTranscript(quillon, title, expected);
    EXPECT_TRUE(waitForNode(quillon, "label", std::to_string(expected.size()) + " chars"));
    EXPECT_TRUE(waitForNode(quillon, "label", "Transcript ready to review and copy."));
    screenshot("call.wav", "transcript-window.png");
}

}  // namespace
}  // namespace quillon
