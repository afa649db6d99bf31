// Draws the live transcript window with a transcript and its summary into a PNG, for the README:
//   quillon_live_panel_snapshot OUTPUT.png
// Run it inside the desktop session, so the desktop's fonts and icon theme are used.
#include "../../unit/live/LiveTranscriptCoordinatorFixture.h"

#include <QApplication>
#include <QImage>
#include <QTimer>

#include <cstdio>

#include "core/audio/SystemAudioSourceCatalog.h"
#include "core/codex/CodexCapabilityModel.h"
#include "fakes/FakePasteboard.h"
#include "fakes/FakeSystemAudioProcesses.h"
#include "ui/live/LiveTranscriptPanelQt.h"

namespace {

// The coordinator's test world, outside a test.
struct World final : quillon::testing::LiveTranscriptCoordinatorTest {
    void TestBody() override {}
};

constexpr const char* committed =
    "Thanks everyone for joining. Today we are reviewing the release plan for the spring update. "
    "The main goals are faster start-up, the new offline mode and fixing the sync conflicts that "
    "support keeps hearing about. Maya will own the offline mode, and Jonas takes the sync fixes.";
constexpr const char* provisional = "we still need a date for the beta";

constexpr const char* summary = R"(## Spring release review

**Goals**
- Faster start-up
- Offline mode (*Maya*)
- Sync conflict fixes (*Jonas*)

### Open questions
- [ ] Beta date
- [x] Owners assigned
)";

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fputs("usage: quillon_live_panel_snapshot OUTPUT.png\n", stderr);
        return 2;
    }
    World world;
    world.host.executables = {"/usr/bin/codex"};
    world.host.vars = {{"PATH", "/usr/bin"}};
    quillon::testing::FakeSystemAudioProcesses processes;
    quillon::SystemAudioSourceCatalog catalog(world.main, processes, "quillon");
    quillon::CodexCapabilityModel capability(world.host);
    quillon::testing::FakePasteboard pasteboard;
    quillon::LiveTranscriptPanelQt panel(world.coordinator(), catalog, capability,
                                         {pasteboard, world.urls, world.store, {}});
    panel.show();
    world.listen();
    world.update(world.last(), committed, provisional);
    world.coordinator().toggleSummary();
    world.coordinator().model().setSummaryState(quillon::LiveSummaryState::ready());
    world.coordinator().model().setSummaryMarkdown(summary);
    panel.resize(860, 420);

    QTimer::singleShot(500, &application, &QApplication::quit);
    application.exec();
    return panel.grab().toImage().save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
