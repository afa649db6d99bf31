// Draws the popover twice side by side into a PNG, for the README: ready with the accessibility
// permission missing, and during a live transcript with a last transcription to copy.
//   quillon_popover_snapshot OUTPUT.png
#include <QApplication>
#include <QImage>
#include <QPainter>

#include <cstdio>

#include "core/audio/MicrophonePermission.h"
#include "core/base/ManualScheduler.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/tray/MenuBarController.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/FakeMicrophoneAccess.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeUrlOpener.h"
#include "fakes/TestLog.h"
#include "ui/popover/PopoverQt.h"

namespace {

using namespace quillon;

struct World {
    explicit World(bool accessibilityOn) {
        microphoneAccess.permission = RecordPermission::granted;
        desktop.trusted = accessibilityOn;
        desktop.enableSwitchesOn = false;
        controller.setup();
    }
    ManualScheduler main;
    testing::TestLog log{main};
    testing::FakeStatusItem statusItem;
    testing::FakePasteboard pasteboard;
    MenuBarController controller{main, statusItem, pasteboard, log.logger(LogCategory::app)};
    testing::FakeMicrophoneAccess microphoneAccess;
    MicrophonePermission microphone{microphoneAccess, main, log.logger(LogCategory::app)};
    testing::FakeAccessibility desktop;
    testing::FakeUrlOpener urls;
    AccessibilityPermission accessibility{desktop, urls, log.logger(LogCategory::app)};
};

PopoverQt::Services services(World& world, bool live) {
    return {world.controller,
            world.microphone,
            world.accessibility,
            [live] { return live; },
            [] {},
            [] {},
            [] {}};
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fputs("usage: quillon_popover_snapshot OUTPUT.png\n", stderr);
        return 2;
    }
    World ready(false);
    PopoverQt first(services(ready, false));
    first.toggle(QRect(200, 0, 24, 24));

    World live(true);
    live.controller.updateState(AppState::liveTranscribing());
    live.controller.addTranscription("Ada ships the parser on Friday.");
    live.main.runUntilIdle();
    PopoverQt second(services(live, true));
    second.toggle(QRect(600, 0, 24, 24));

    constexpr qreal scale = 2.0;
    constexpr int gap = 24;
    const QSize a = first.size(), b = second.size();
    const QSize canvas(a.width() + b.width() + 3 * gap, std::max(a.height(), b.height()) + 2 * gap);
    QImage image(canvas * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(QColor(236, 238, 242));
    QPainter painter(&image);
    first.render(&painter, QPoint(gap, gap), QRegion(),
                 QWidget::DrawWindowBackground | QWidget::DrawChildren);
    second.render(&painter, QPoint(2 * gap + a.width(), gap), QRegion(),
                  QWidget::DrawWindowBackground | QWidget::DrawChildren);
    painter.end();
    return image.save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
