// Draws the README's pictures into a PNG; run it inside the desktop session, so the desktop's fonts
// and icon theme are used:
//   quillon_snapshot popover OUTPUT.png: the popover ready with the accessibility permission missing,
//     beside it during a live transcript with a last transcription to copy;
//   quillon_snapshot panel OUTPUT.png: the live transcript window with a transcript and its summary.
// First, before Qt defines its `emit` keyword, which the Codex fake uses as a name.
#include "unit/live/LiveTranscriptCoordinatorFixture.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTimer>

#include <cstdio>
#include <string_view>

#include "core/audio/MicrophonePermission.h"
#include "core/audio/SystemAudioSourceCatalog.h"
#include "core/codex/CodexCapabilityModel.h"
#include "core/insertion/AccessibilityPermission.h"
#include "core/tray/MenuBarController.h"
#include "fakes/FakeAccessibility.h"
#include "fakes/FakeMicrophoneAccess.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeStatusItem.h"
#include "fakes/FakeSystemAudioProcesses.h"
#include "ui/live/LiveTranscriptPanelQt.h"
#include "ui/popover/PopoverQt.h"

namespace {

using namespace quillon;
using namespace quillon::testing;

struct PopoverWorld {
    PopoverWorld(bool accessibilityOn, bool liveShown) : live(liveShown) {
        microphoneAccess.permission = RecordPermission::granted;
        desktop.trusted = accessibilityOn;
        desktop.enableSwitchesOn = false;
        controller.setup();
    }
    PopoverQt::Services services() {
        return {controller, microphone, accessibility, [this] { return live; }, [] {}, [] {}, [] {}};
    }
    bool live;
    ManualScheduler main;
    TestLog log{main};
    FakeStatusItem statusItem;
    FakePasteboard pasteboard;
    MenuBarController controller{main, statusItem, pasteboard, log.logger(LogCategory::app)};
    FakeMicrophoneAccess microphoneAccess;
    MicrophonePermission microphone{microphoneAccess, main, log.logger(LogCategory::app)};
    FakeAccessibility desktop;
    FakeUrlOpener urls;
    AccessibilityPermission accessibility{desktop, urls, log.logger(LogCategory::app)};
};

QImage popoverImage() {
    PopoverWorld ready(false, false);
    PopoverQt first(ready.services());
    first.toggle(QRect(200, 0, 24, 24));
    PopoverWorld live(true, true);
    live.controller.updateState(AppState::liveTranscribing());
    live.controller.addTranscription("Ada ships the parser on Friday.");
    live.main.runUntilIdle();
    PopoverQt second(live.services());
    second.toggle(QRect(600, 0, 24, 24));

    constexpr qreal scale = 2.0;
    constexpr int gap = 24;
    const QSize a = first.size(), b = second.size();
    const QSize canvas(a.width() + b.width() + 3 * gap, std::max(a.height(), b.height()) + 2 * gap);
    QImage image(canvas * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(QColor(236, 238, 242));
    QPainter painter(&image);
    const auto flags = QWidget::DrawWindowBackground | QWidget::DrawChildren;
    first.render(&painter, QPoint(gap, gap), QRegion(), flags);
    second.render(&painter, QPoint(2 * gap + a.width(), gap), QRegion(), flags);
    return image;
}

// The coordinator's test world, outside a test.
struct PanelWorld final : LiveTranscriptCoordinatorTest {
    void TestBody() override {}
};

QImage panelImage(QApplication& application) {
    PanelWorld world;
    world.host.executables = {"/usr/bin/codex"};
    world.host.vars = {{"PATH", "/usr/bin"}};
    FakeSystemAudioProcesses processes;
    SystemAudioSourceCatalog catalog(world.main, processes, "quillon");
    CodexCapabilityModel capability(world.host);
    FakePasteboard pasteboard;
    LiveTranscriptPanelQt panel(world.coordinator(), catalog, capability,
                                {pasteboard, world.urls, world.store, {}});
    panel.show();
    world.listen();
    world.update(
        world.last(),
        "Thanks everyone for joining. Today we are reviewing the release plan for the spring update. "
        "The main goals are faster start-up, the new offline mode and fixing the sync conflicts that "
        "support keeps hearing about. Maya will own the offline mode, and Jonas takes the sync fixes.",
        "we still need a date for the beta");
    world.coordinator().toggleSummary();
    world.coordinator().model().setSummaryState(LiveSummaryState::ready());
    world.coordinator().model().setSummaryMarkdown(R"(## Spring release review

**Goals**
- Faster start-up
- Offline mode (*Maya*)
- Sync conflict fixes (*Jonas*)

### Open questions
- [ ] Beta date
- [x] Owners assigned
)");
    panel.resize(860, 420);
    QTimer::singleShot(500, &application, &QApplication::quit);
    application.exec();
    return panel.grab().toImage();
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const std::string_view what = argc == 3 ? argv[1] : "";
    if (what != "popover" && what != "panel") {
        std::fputs("usage: quillon_snapshot popover|panel OUTPUT.png\n", stderr);
        return 2;
    }
    const QImage image = what == "popover" ? popoverImage() : panelImage(application);
    return image.save(QString::fromLocal8Bit(argv[2])) ? 0 : 1;
}
