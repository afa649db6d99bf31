// The live transcript in the running quillon, as a keyboard user meets it: a click on the tray
// icon opens the popover with the keyboard on its first button, Return starts the transcript of
// the microphone, which hears speech, and the popover opened again stops it. The program's log
// says what happened (it never holds the words).
//
// Not read here: the words themselves, nor the popover's buttons by name. The popover is a
// Qt::Popup, which Qt leaves out of the application's accessibility tree.
#include <QTemporaryDir>

#include <cstdlib>
#include <string>

#include "Desktop.h"

namespace quillon::testing {
namespace {

class LiveTranscriptProgram : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        if (IsSkipped()) return;
        if (const char* missing = std::getenv("QUILLON_SESSION_MISSING");
            missing != nullptr && std::string(missing).find("sound server") != std::string::npos) {
            GTEST_SKIP() << "no sound server in this session";
        }
    }

    // Speaks `sentence` into the session's microphone (the sink "microphone") and waits until
    // it has played.
    void speak(const QString& sentence) {
        const QString wav = scratch.filePath("speech.wav");
        ASSERT_TRUE(run("espeak-ng", {"-v", "en-us+klatt4", "-s", "150", "-w", wav, sentence}));
        ASSERT_TRUE(run("paplay", {"--device=microphone", wav}));
    }

    // Opens the popover from the tray icon and, once it is on screen with the keyboard, presses
    // its first button with Return.
    static bool pressFirstPopoverButton(const QString& icon, qint64 pid) {
        if (!clickOn(icon, 1)) return false;
        const QStringList popover = {"search", "--sync",   "--onlyvisible", "--pid", QString::number(pid),
                                     "--name", "^Quillon$"};
        return run("xdotool", popover + QStringList{"windowfocus", "--sync", "key", "Return"}).has_value();
    }

    QTemporaryDir scratch;
};

TEST_F(LiveTranscriptProgram, ThePopoverStartsAndStopsATranscriptOfTheMicrophone) {
    // The desktop's accessibility is on, so no permission is missing and the live transcript's
    // button comes first.
    ASSERT_TRUE(run("dbus-send", {"--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
                                  "org.freedesktop.DBus.Properties.Set", "string:org.a11y.Status",
                                  "string:IsEnabled", "variant:boolean:true"}));
    TrayHost tray;
    ASSERT_TRUE(tray.ready());
    QuillonProcess quillon(scratch.path());
    const auto icon = tray.iconOf(quillon.processId());
    ASSERT_TRUE(icon) << quillon.log();

    ASSERT_TRUE(pressFirstPopoverButton(*icon, quillon.processId()));
    ASSERT_TRUE(quillon.waitForLog("Live transcript started")) << quillon.log();
    speak("hello world. the weather is nice today.");

    // Opened again, its first button is the stop; the last words are finished, then it ends.
    ASSERT_TRUE(pressFirstPopoverButton(*icon, quillon.processId()));
    EXPECT_TRUE(quillon.waitForLog("Live transcript stopping")) << quillon.log();
    EXPECT_TRUE(quillon.waitForLog("Live transcript stopped")) << quillon.log();
    EXPECT_EQ(quillon.log().find("Live transcript failed"), std::string::npos) << quillon.log();
}

}  // namespace
}  // namespace quillon::testing
