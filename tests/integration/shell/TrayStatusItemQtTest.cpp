#include <QImage>

#include "Desktop.h"
#include "core/tray/MenuBarController.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/base/QtMainScheduler.h"
#include "platform/linux/clipboard/PasteboardQt.h"
#include "ui/TrayStatusItemQt.h"

namespace quillon {
namespace {

using testing::serveEventsUntil;

class TrayStatusItemQtTest : public testing::DesktopTest {
protected:
    ManualScheduler ringQueue_;
    testing::TestLog log_{ringQueue_};
};

// Each state has its own bundled image and tool tip; recording pulses, down to half and back.
TEST_F(TrayStatusItemQtTest, ShowsEachStateWithItsOwnIconAndToolTip) {
    TrayStatusItemQt item(log_.logger(LogCategory::app));
    item.install("Quillon\nMiddle-click to copy the last transcription");
    const std::vector<std::tuple<AppState, QString, QColor>> cases = {
        {AppState::recording(), "Quillon: Recording", QColor("#E5484D")},
        {AppState::liveTranscribing(), "Quillon: Live Transcription", QColor("#0A84FF")},
        {AppState::transcribing(), "Quillon: Transcribing", QColor("#7C3AED")},
        {AppState::error("The microphone is gone"), "Quillon: Error", QColor("#F5A524")},
        {AppState::idle(), "Quillon", QColor("#4F46E5")},
    };
    // A point near the lower left that every icon fills with its own colour, as a tray draws it.
    const auto pixel = [&] { return item.trayIcon().icon().pixmap(22, 22).toImage().pixelColor(6, 18); };
    for (const auto& [state, toolTip, hue] : cases) {
        item.setAppearance(MenuBarController::appearance(state));
        EXPECT_EQ(item.trayIcon().toolTip(), toolTip + "\nMiddle-click to copy the last transcription");
        EXPECT_NEAR(pixel().hue(), hue.hue(), 8) << toolTip.toStdString();
    }
    item.setAppearance(MenuBarController::appearance(AppState::recording()));
    float lowest = 1.0;
    EXPECT_TRUE(serveEventsUntil([&] { return (lowest = std::min(lowest, pixel().alphaF())) <= 0.55; }));
    EXPECT_GE(lowest, 0.45);
    EXPECT_TRUE(serveEventsUntil([&] { return pixel().alphaF() >= 0.95; }));
    item.setAppearance(MenuBarController::appearance(AppState::idle()));
    EXPECT_NEAR(pixel().alphaF(), 1.0, 0.01);
}

// The last transcription, from the icon's middle click or its menu entry, is what another
// program pastes.
TEST_F(TrayStatusItemQtTest, TheLastTranscriptionIsCopiedToTheClipboardOfTheDesktop) {
    TrayStatusItemQt item(log_.logger(LogCategory::app));
    QtMainScheduler main(QCoreApplication::instance());
    PasteboardQt pasteboard;
    MenuBarController controller(main, item, pasteboard, log_.logger(LogCategory::app));
    controller.setup();
    const std::vector<std::pair<std::string, std::function<void()>>> cases = {
        {"Zwölf Boxkämpfer — “quoted” ✓ 日本語",
         [&] { emit item.trayIcon().activated(QSystemTrayIcon::MiddleClick); }},
        {"two lines\nand a tab\there", [&] { item.copyLastTranscriptionAction().trigger(); }},
    };
    for (const auto& [text, copy] : cases) {
        controller.addTranscription("  " + text + "\n");
        ASSERT_TRUE(serveEventsUntil([&] { return controller.lastTranscription() == text; }));
        copy();
        const auto pasted = [] {
            return testing::run("xclip", {"-selection", "clipboard", "-o"}).value_or("<none>").toStdString();
        };
        EXPECT_TRUE(serveEventsUntil([&] { return pasted() == text; })) << pasted();
    }
    EXPECT_EQ(log_.output.count("Copied transcription to clipboard"), 2u);
}

}  // namespace
}  // namespace quillon
