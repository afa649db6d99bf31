// The live transcript in the running quillon, as a screen-reader user meets it: the popover opened
// from the tray icon starts it, and the panel is then read and operated over the accessibility
// bus. Speech from espeak-ng plays into the session's microphone or from an application; the
// words are found in the panel's transcript, a correction typed into it meanwhile stays, another
// source is chosen, the audio is recorded and saved through the file dialog, and the real
// `codex app-server`, on a model provider served here, writes the summary and cleans the text.
//
// What Qt exposes: the panel (a tool window) with its buttons, transcript and summary, and the
// file dialog. What it does not: Qt::Popup windows, so neither the popover nor the source menu
// (a QMenu) is in the tree. Both are reached by the keyboard, which is how their focus reaches a
// screen reader too, and the choice is read back from the button it belongs to.
//
// PocketSphinx on speech played through the sound server, on a loaded machine, may miss a word:
// a phrase counts as heard when half its words or more come in order.
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "../codex/LocalResponsesServer.h"
#include "../windows/AtspiNode.h"
#include "Desktop.h"
#include "DesktopSession.h"

namespace quillon::testing {
namespace {

constexpr std::chrono::seconds codexTurn{60};

class LiveTranscriptProgram : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        if (IsSkipped()) return;
        if (const auto why = sessionLacks({"sound server"}); !why.empty()) GTEST_SKIP() << why;
        // The desktop's accessibility is on, so no permission is missing and the live
        // transcript's button comes first in the popover.
        ASSERT_TRUE(run("dbus-send", {"--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
                                      "org.freedesktop.DBus.Properties.Set", "string:org.a11y.Status",
                                      "string:IsEnabled", "variant:boolean:true"}));
        tray.emplace();
        ASSERT_TRUE(tray->ready());
        ASSERT_TRUE(QDir(scratch.path()).mkpath("home/Music"));
    }

    // Quillon, with its home in the scratch folder, started from the popover on the microphone.
    void startTranscript(const QList<std::pair<QString, QString>>& environment = {}) {
        quillon = std::make_unique<QuillonProcess>(
            QUILLON_BINARY, scratch.path(),
            QList<std::pair<QString, QString>>{{"HOME", scratch.filePath("home")}} + environment);
        // Started once the recogniser's model is loaded, as after a launch at login: the first
        // words are not held up behind the loading.
        ASSERT_TRUE(quillon->waitForLog("Speech recognition is ready")) << quillon->log();
        ASSERT_TRUE(pressFirstPopoverButton()) << quillon->log();
        ASSERT_TRUE(quillon->waitForLog("Live transcript started")) << quillon->log();
        ASSERT_TRUE(waitForNode(*quillon, "", "Live Transcript")) << quillon->log();
    }

    // Starts saying `sentence` `times` times, with a pause after each, into the session's microphone
    // (the sink "microphone"); with `fromAnApplication`, plays it to the speakers as an application
    // does. The recogniser may miss the start of speech that follows other speech closely; the
    // sentence said again after a pause is heard whole.
    std::unique_ptr<QProcess> startSaying(const QString& sentence, int times = 2,
                                          bool fromAnApplication = false) {
        const QString wav = scratch.filePath(QString("speech-%1.wav").arg(++recordings));
        const QString ssml = (sentence + " <break time='1s'/> ").repeated(times);
        EXPECT_TRUE(run("espeak-ng", {"-m", "-v", "en-us+klatt4", "-s", "150", "-w", wav, ssml}));
        auto player = std::make_unique<QProcess>();
        player->start("paplay",
                      fromAnApplication ? QStringList{wav} : QStringList{"--device=microphone", wav});
        EXPECT_TRUE(player->waitForStarted());
        return player;
    }

    // Says `sentence` into the microphone `times` times, to the end.
    void say(const QString& sentence, int times = 1) {
        const auto player = startSaying(sentence, times);
        ASSERT_TRUE(serveEventsUntil([&] { return player->state() == QProcess::NotRunning; }));
    }

    // Opens the popover from the tray icon and, once it is on screen with the keyboard, presses
    // its first button with Return.
    bool pressFirstPopoverButton() {
        const auto icon = tray->iconOf(quillon->processId());
        if (!icon || !clickOn(*icon, 1)) return false;
        const QStringList popover = {
            "search", "--sync",   "--onlyvisible", "--pid", QString::number(quillon->processId()),
            "--name", "^Quillon$"};
        return run("xdotool", popover + QStringList{"windowfocus", "--sync", "key", "Return"}).has_value();
    }

    // Presses the button (or toggle button) of that name.
    bool press(const std::string& button) {
        const auto found = waitForNode(*quillon, "", button);
        return found && found->press();
    }

    // The transcript and the summary as drawn, read from their nodes, found once: a walk of the
    // tree at every look would load the machine the recogniser runs on.
    std::string transcript() {
        return textOf(editor, [this] { return waitForNode(*quillon, "text", "Live transcript"); });
    }
    std::string summary() {
        return textOf(summaryView, [this] {
            // On the sidebar's pages (a message, or the summary), below the header of that name.
            const auto pages = waitForNode(*quillon, "layered pane", "");
            return pages ? pages->find("label", "Summary") : std::nullopt;
        });
    }
    static std::string textOf(std::optional<AtspiNode>& cached,
                              const std::function<std::optional<AtspiNode>()>& find) {
        if (!cached) cached = find();
        return cached ? cached->text() : std::string();
    }

    // Whether the transcript comes to hold half the words of `said` or more, in their order.
    bool heard(const QString& said) {
        const QStringList expected = said.toLower().split(QRegularExpression("\\W+"), Qt::SkipEmptyParts);
        return serveEventsUntil([&] {
            const QStringList words = QString::fromStdString(transcript())
                                          .toLower()
                                          .split(QRegularExpression("\\W+"), Qt::SkipEmptyParts);
            qsizetype found = 0;
            qsizetype at = 0;
            for (const QString& word : expected) {
                const qsizetype next = words.indexOf(word, at);
                if (next < 0) continue;
                ++found;
                at = next + 1;
            }
            return found * 2 >= expected.size();
        });
    }

    QTemporaryDir scratch;
    std::optional<TrayHost> tray;  // made once the session is known to have an X server
    std::unique_ptr<QuillonProcess> quillon;
    std::optional<AtspiNode> editor;
    std::optional<AtspiNode> summaryView;
    int recordings = 0;
};

TEST_F(LiveTranscriptProgram, AScreenReaderUserFollowsCorrectsSwitchesAndRecordsTheTranscript) {
    startTranscript();
    const QString first = "hello world. the president of the united states.";
    say(first);
    EXPECT_TRUE(heard(first)) << transcript() << quillon->log();

    // A correction typed at the start of the committed text while more is said: the words that
    // arrive afterwards leave it in place.
    const QString second = "seven eight nine ten.";
    const auto before = transcript().size();
    ASSERT_TRUE(editor);
    const auto saying = startSaying(second);
    ASSERT_TRUE(serveEventsUntil([&] { return transcript().size() > before; }));
    ASSERT_TRUE(editor->insertText(0, "Notes: "));
    EXPECT_TRUE(heard(second)) << transcript() << quillon->log();
    EXPECT_TRUE(transcript().starts_with("Notes: ")) << transcript();
    EXPECT_TRUE(heard(first)) << transcript() << quillon->log();
    ASSERT_TRUE(serveEventsUntil([&] { return saying->state() == QProcess::NotRunning; }));

    // One application that plays speech, chosen in the source menu: Down twice passes Microphone
    // to System Audio, Right opens it on All System Audio, and Down reaches the first application,
    // paplay (by name before the session's microphone feed, which plays too).
    const QString third = "this is a test.";
    const auto application = startSaying(third, 8, true);
    ASSERT_TRUE(serveEventsUntil([] {
        return QString::fromUtf8(run("pactl", {"list", "sink-inputs"}).value_or("")).contains("\"paplay\"");
    }));
    const auto source = waitForNode(*quillon, "push button", "Audio source");
    ASSERT_TRUE(source);
    EXPECT_EQ(source->description(), "Microphone");
    const auto windows = quillon->visibleWindows();
    ASSERT_TRUE(source->press());
    ASSERT_TRUE(serveEventsUntil([&] { return quillon->visibleWindows() > windows; }));
    ASSERT_TRUE(run("xdotool", {"key", "Down", "Down", "Right", "Down", "Return"}));
    EXPECT_TRUE(serveEventsUntil([&] { return source->description() == "paplay"; })) << source->description();
    EXPECT_TRUE(heard(third)) << transcript() << quillon->log();

    // Its audio recorded while it plays, and saved as the file dialog suggests, in Music.
    ASSERT_TRUE(press("Record audio"));
    const auto recorder = waitForNode(*quillon, "push button", "Stop and save audio recording");
    ASSERT_TRUE(recorder) << quillon->log();
    const auto words = transcript().size();
    ASSERT_TRUE(serveEventsUntil([&] { return transcript().size() > words; }))
        << "nothing heard while recording";
    ASSERT_TRUE(recorder->press());
    const auto fileName = waitForNode(*quillon, "text", "File name:");
    ASSERT_TRUE(fileName) << quillon->log();
    const QString saved = scratch.filePath("home/Music/") + QString::fromStdString(fileName->text());
    EXPECT_TRUE(saved.endsWith(".m4a")) << saved.toStdString();
    ASSERT_TRUE(press("Save Recording"));
    ASSERT_TRUE(quillon->waitForLog("Saved live audio recording")) << quillon->log();
    const auto probed = run(
        "ffprobe", {"-v", "error", "-show_entries", "stream=codec_type,codec_name", "-of", "csv=p=0", saved});
    EXPECT_EQ(probed.value_or("(not an audio file)").trimmed(), "aac,audio");
    application->kill();
    application->waitForFinished();

    // The popover, opened again, has the stop first: the last words are finished, then it ends.
    ASSERT_TRUE(pressFirstPopoverButton());
    EXPECT_TRUE(quillon->waitForLog("Live transcript stopped")) << quillon->log();
    EXPECT_EQ(quillon->log().find("Live transcript failed"), std::string::npos) << quillon->log();
}

// The summary and the cleanup through the real Codex, its model served here: the Markdown the
// model answers appears drawn in the sidebar, and a cleanup replaces the text while the words
// said before its answer came stay after it.
TEST_F(LiveTranscriptProgram, CodexOnALocalModelProviderSummarisesAndCleansUpTheTranscript) {
    const QFileInfo codex(QStringLiteral(QUILLON_CODEX_NPM_BIN));
    if (!codex.exists()) GTEST_SKIP() << "the codex CLI is not installed (run scripts/setup --tests)";
    LocalResponsesServer provider;
    // One answer for both: the summary reads its Markdown and the cleanup its transcript.
    provider.setReply(R"({"markdown":"# Weekly sync\n\n- Ada ships the parser","transcript":"Cleaned up."})");
    startTranscript({{"QUILLON_CODEX_MODEL_PROVIDER", QString("http://127.0.0.1:%1/v1").arg(provider.port())},
                     {"PATH", codex.absolutePath() + ":" + qEnvironmentVariable("PATH")}});
    EXPECT_TRUE(quillon->waitForLog("Development mode: Codex uses the model provider at")) << quillon->log();
    const QString first = "hello world. the president of the united states.";
    say(first);
    EXPECT_TRUE(heard(first)) << transcript() << quillon->log();

    ASSERT_TRUE(press("Running summary"));
    const auto update = waitForNode(*quillon, "push button", "Update now");
    ASSERT_TRUE(update);
    ASSERT_TRUE(serveEventsUntil([&] { return update->has(ATSPI_STATE_ENABLED); }, codexTurn))
        << quillon->log();
    ASSERT_TRUE(update->press());
    // Drawn from the Markdown: the heading and the list item without their marks. A turn of the
    // real Codex on this loaded machine may take a while.
    EXPECT_TRUE(serveEventsUntil([&] { return summary().find("Ada ships the parser") != std::string::npos; },
                                 codexTurn))
        << summary() << quillon->log();
    EXPECT_TRUE(summary().starts_with("Weekly sync")) << summary();

    // The answer is held until more has been said.
    provider.holdReplies();
    const auto requests = provider.requestBodies().size();
    ASSERT_TRUE(press("Clean up transcript with AI"));
    ASSERT_TRUE(serveEventsUntil([&] { return provider.requestBodies().size() > requests; }, codexTurn))
        << quillon->log();
    const QString meanwhile = "seven eight nine ten.";
    say(meanwhile, 2);
    EXPECT_TRUE(heard(meanwhile)) << transcript() << quillon->log();
    provider.releaseReplies();
    EXPECT_TRUE(serveEventsUntil([&] { return transcript().starts_with("Cleaned up."); }, codexTurn))
        << transcript();
    EXPECT_EQ(transcript().find("president"), std::string::npos) << transcript();
    EXPECT_TRUE(heard(meanwhile)) << transcript() << quillon->log();
}

}  // namespace
}  // namespace quillon::testing
