#include <gtest/gtest.h>

#include <QImage>
#include <QMenu>
#include <QSystemTrayIcon>

#include "ExternalProcess.h"
#include "SessionSkip.h"
#include "TrayHost.h"
#include "core/app/MenuBarController.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/base/QtMainScheduler.h"
#include "platform/linux/clipboard/PasteboardQt.h"
#include "ui/TrayStatusItemQt.h"

namespace quillon {
namespace {

using testing::runWhileServingEvents;
using testing::serveEventsUntil;
using testing::TrayHost;

class TrayStatusItemQtTest : public ::testing::Test {
protected:
    ManualScheduler ringQueue_;
    testing::TestLog log_{ringQueue_};
};

// The share of the icon, as the tray draws it at 22 pixels, that has the colour of `hue`.
double shareOfColour(const QIcon& icon, const QColor& hue) {
    const QImage image = icon.pixmap(22, 22).toImage();
    int matching = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            matching += colour.alpha() > 200 && colour.saturation() > 100 && std::abs(colour.hue() - hue.hue()) < 12;
        }
    }
    return static_cast<double>(matching) / (image.width() * image.height());
}

TEST_F(TrayStatusItemQtTest, ShowsEachStateWithItsOwnIconAndToolTip) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    TrayStatusItemQt item(log_.logger(LogCategory::app));
    ASSERT_TRUE(item.install("Quillon\nMiddle-click to copy the last transcription"));
    EXPECT_TRUE(serveEventsUntil([&] { return tray.iconOf(QCoreApplication::applicationPid()).has_value(); }));

    struct Case {
        AppState state;
        QString toolTip;
        QColor hue;  // the dominant colour of the icon
    };
    const std::vector<Case> cases = {
        {AppState::recording(), "Quillon: Recording\nMiddle-click to copy the last transcription", QColor("#E5484D")},
        {AppState::liveTranscribing(), "Quillon: Live Transcription\nMiddle-click to copy the last transcription",
         QColor("#0A84FF")},
        {AppState::transcribing(), "Quillon: Transcribing\nMiddle-click to copy the last transcription",
         QColor("#7C3AED")},
        {AppState::error("The microphone is gone"), "Quillon: Error\nMiddle-click to copy the last transcription",
         QColor("#F5A524")},
        {AppState::idle(), "Quillon\nMiddle-click to copy the last transcription", QColor("#4F46E5")},
    };
    for (const auto& entry : cases) {
        const auto appearance = MenuBarController::appearance(entry.state);
        SCOPED_TRACE(appearance.accessibilityDescription);
        item.setAppearance(appearance);
        EXPECT_EQ(item.trayIcon().toolTip(), entry.toolTip);
        EXPECT_EQ(item.isPulsing(), appearance.pulses);
        // Drawn from the bundled image: mostly its colour, around the white glyph.
        EXPECT_GT(shareOfColour(item.trayIcon().icon(), entry.hue), 0.3);
    }
}

// The pulse is watched as the tray sees it: the icon's opacity goes down to half and back.
TEST_F(TrayStatusItemQtTest, APulsingStateFadesToHalfAndBackUntilTheStateChanges) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayStatusItemQt item(log_.logger(LogCategory::app));
    item.install("Quillon");
    item.setAppearance(MenuBarController::appearance(AppState::recording()));
    double lowest = 1.0;
    auto alphaOfIcon = [&]() -> double { return item.trayIcon().icon().pixmap(22, 22).toImage().pixelColor(11, 11).alphaF(); };
    EXPECT_TRUE(serveEventsUntil([&] {
        lowest = std::min(lowest, alphaOfIcon());
        return lowest <= 0.55;
    }));
    EXPECT_GE(lowest, 0.45);
    EXPECT_TRUE(serveEventsUntil([&] { return alphaOfIcon() >= 0.95; }));

    item.setAppearance(MenuBarController::appearance(AppState::error("Microphone unavailable")));
    EXPECT_FALSE(item.isPulsing());
    EXPECT_DOUBLE_EQ(item.opacity(), 1.0);
    EXPECT_NEAR(alphaOfIcon(), 1.0, 0.01);
}

// The last transcription reaches the clipboard, where another program pastes it, by the
// middle click on the icon and by the menu entry.
TEST_F(TrayStatusItemQtTest, TheLastTranscriptionIsCopiedByMiddleClickAndByTheMenu) {
    QUILLON_SKIP_WITHOUT_DISPLAY();
    TrayHost tray;
    ASSERT_TRUE(tray.waitUntilReady());
    QtMainScheduler main(QCoreApplication::instance());
    PasteboardQt pasteboard;
    TrayStatusItemQt item(log_.logger(LogCategory::app));
    MenuBarController controller(main, item, pasteboard, log_.logger(LogCategory::app));
    ASSERT_TRUE(controller.setup());
    std::optional<QRect> icon;
    ASSERT_TRUE(serveEventsUntil([&] { return (icon = tray.iconOf(QCoreApplication::applicationPid())).has_value(); }));
    auto pastedElsewhere = [] {
        auto result = runWhileServingEvents("xclip", {"-selection", "clipboard", "-o"});
        return result && result->exitCode == 0 ? result->standardOutput.toStdString() : std::string("<nothing>");
    };

    controller.addTranscription("  Meet me at the station at noon.\n");
    ASSERT_TRUE(serveEventsUntil([&] { return controller.lastTranscription().has_value(); }));
    ASSERT_TRUE(testing::clickAt(icon->center(), 2));
    EXPECT_TRUE(serveEventsUntil([&] { return pastedElsewhere() == "Meet me at the station at noon."; }))
        << pastedElsewhere();

    controller.addTranscription("Bring the tickets, please.");
    ASSERT_TRUE(serveEventsUntil([&] { return controller.lastTranscription() == "Bring the tickets, please."; }));
    ASSERT_TRUE(testing::clickAt(icon->center(), 3));
    QMenu* menu = item.trayIcon().contextMenu();
    ASSERT_TRUE(serveEventsUntil([&] { return menu->isVisible(); }));
    const QRect entry = menu->actionGeometry(&item.copyLastTranscriptionAction()).translated(menu->pos());
    ASSERT_TRUE(testing::clickAt(entry.center(), 1));
    EXPECT_TRUE(serveEventsUntil([&] { return pastedElsewhere() == "Bring the tickets, please."; }))
        << pastedElsewhere();
    EXPECT_EQ(log_.output.count("Copied transcription to clipboard"), 2u);
}

}  // namespace
}  // namespace quillon
