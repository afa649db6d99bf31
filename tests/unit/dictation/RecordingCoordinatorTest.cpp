#include "core/dictation/RecordingCoordinator.h"

#include "DictationWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using testing::Calls;
using Result = std::expected<std::string, TranscriptionError>;

class RecordingCoordinatorTest : public testing::DictationWorld {};

TEST_F(RecordingCoordinatorTest, StartStopAndCompletionCarryTheTextIntoTheFocusedField) {
    hotkey.onStartRecording();
    EXPECT_TRUE(journal.empty()) << "the start waits until the key event has been handled";
    settle();
    EXPECT_TRUE(recorder.isRunning());
    EXPECT_EQ(state(), AppState::recording());

    // Audio streams into the session; a decode failure is only logged and the recording runs on.
    recorder.pcm(std::vector<std::byte>(2730));
    EXPECT_EQ(sessions.at(0)->received, (std::vector<std::pair<std::size_t, double>>{{2730, 16000.0}}));
    sessions.at(0)->handlers.onFailure("Audio buffer could not be analysed");
    sessions.at(0)->handlers.onPhraseFinalized("Hello there.", "Hello there.");
    EXPECT_TRUE(insertion.insertions.empty()) << "session results wait for the main thread";
    EXPECT_EQ(state(), AppState::recording());
    EXPECT_EQ(insertion.insertions, (Calls{"editor: Hello there."}));

    hotkey.onRecordingModeChanged(true);  // applied within the key event
    EXPECT_TRUE(coordinator->isTapToggleMode());
    insertion.focused = notes;
    phrase(0, "Held back.");
    journal.clear();
    hotkey.onStopRecording();
    EXPECT_TRUE(journal.empty());
    settle();
    EXPECT_FALSE(recorder.isRunning());
    EXPECT_EQ(journal.back(), "session.finishAndWait")
        << "the recorder's completion, posted from within its stop";
    EXPECT_FALSE(coordinator->isTapToggleMode());
    EXPECT_EQ(state(), AppState::transcribing());
    EXPECT_EQ(chunksOnDisk(), 1u) << "the chunk stays until the session has finished";
    EXPECT_EQ(insertion.insertions, (Calls{"editor: Hello there.", "notes: Held back."}))
        << "waiting text goes to the field focused at the stop";

    journal.clear();
    finish(0, " Hello there. General Kenobi.");
    EXPECT_EQ(journal, (Calls{"indicator.hide"}));
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_EQ(chunksOnDisk(), 0u);
    EXPECT_EQ(menu->lastTranscription(), "Hello there. General Kenobi.");
    EXPECT_EQ(insertion.insertions.size(), 2u) << "the final transcript is only remembered";
    EXPECT_FALSE(coordinator->activeInsertionSessionID());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    EXPECT_TRUE(sessions.sessions[0].expired());
    EXPECT_EQ(errors(), (Calls{"Transcription decode failed: Audio buffer could not be analysed"}));
}

TEST_F(RecordingCoordinatorTest, RefusedOrFailedStartLeavesNothingRunning) {
    struct Case {
        const char* name;
        bool liveTranscript;
        std::shared_ptr<testing::FakeTextElement> focused;
        std::optional<std::string> startFailure;
        AppState state;
    };
    const std::vector<Case> cases = {
        {"live transcript runs", true, editor, std::nullopt, AppState::idle()},
        {"no text field", false, nullptr, std::nullopt,
         AppState::error("Click in a text field before starting dictation.")},
        {"recorder fails", false, editor, "Failed to create audio converter",
         AppState::error("Failed to start recording: Failed to create audio converter")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        liveTranscript.setActiveSnapshot(c.liveTranscript);
        insertion.focused = c.focused;
        recorder.startFailure = c.startFailure;
        journal.clear();
        start();
        hotkey.onRecordingModeChanged(true);  // the press outlives the start: no mode to change
        EXPECT_EQ(state(), c.state);
        EXPECT_EQ(std::ranges::count(journal, "hotkey.resetToIdle"), c.focused ? 0 : 1)
            << "only a refusal resets it";
        EXPECT_FALSE(recorder.isRunning());
        EXPECT_FALSE(coordinator->isTapToggleMode());
        EXPECT_FALSE(coordinator->hasTranscriptionSession());
        EXPECT_FALSE(coordinator->activeInsertionSessionID());
        EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    }
    EXPECT_TRUE(sessions.sessions.at(0).expired());
}

TEST_F(RecordingCoordinatorTest, StopBeforeTheFieldIsFoundStartsNothing) {
    hotkey.onStartRecording();
    main.runUntilIdle();  // the field is still being looked for on insertion's worker
    hotkey.onStopRecording();
    main.runUntilIdle();
    settle();
    EXPECT_EQ(journal, (Calls{"insertion.captureFocusedTextTarget", "hotkey.resetToIdle"}));
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_FALSE(recorder.isRunning());

    start();  // the next press starts as usual
    EXPECT_TRUE(recorder.isRunning());
}

TEST_F(RecordingCoordinatorTest, RollOverKeepsTheSessionOnlyWhileTheFlagIsSeen) {
    start();
    hotkey.onRecordingModeChanged(true);
    // A completion that runs while the flag is still set is a chunk boundary: the session goes on.
    recorder.automaticRollover = true;
    recorder.stopRecording();
    recorder.running = true;
    settle();
    recorder.automaticRollover = false;
    phrase(0, "Still bound.");
    EXPECT_EQ(insertion.insertions, (Calls{"editor: Still bound."}));
    EXPECT_EQ(chunksOnDisk(), 0u);
    EXPECT_TRUE(coordinator->hasTranscriptionSession());

    // The time limit clears the flag before its posted completion runs: the session ends there,
    // while the recording, the icon and the indicator go on.
    journal.clear();
    recorder.rollOver();
    settle();
    finish(0, "Still bound.");
    EXPECT_EQ(journal, (Calls{"recorder.stopRecording", "recorder.setOnPCM16Data(none)", "session.finishAndWait"}));
    EXPECT_EQ(state(), AppState::recording());
    EXPECT_FALSE(coordinator->hasTranscriptionSession());

    // Without a session a chunk boundary is no roll-over to keep: the stop completes and goes idle.
    recorder.automaticRollover = true;
    stop();
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_EQ(journal.back(), "indicator.hide");
    EXPECT_EQ(chunksOnDisk(), 0u);
}

TEST_F(RecordingCoordinatorTest, SecondRecordingMayStartWhileTheFirstStillDelivers) {
    start();
    stop();
    insertion.focused = notes;
    start();
    const auto second = coordinator->activeInsertionSessionID();
    // The first session's late phrase goes to the field focused now, the second's, and its failure
    // leaves the newer recording alone.
    phrase(0, "From the first.");
    finish(0, std::unexpected(TranscriptionError::audioConversionUnavailable()));
    EXPECT_EQ(coordinator->activeInsertionSessionID(), second);
    EXPECT_TRUE(coordinator->hasTranscriptionSession());
    EXPECT_EQ(state(), AppState::recording()) << "the newer recording owns the icon";
    EXPECT_NE(journal.back(), "indicator.hide");

    phrase(1, "From the second.");
    stop();
    finish(1, "From the second.");
    EXPECT_EQ(insertion.insertions, (Calls{"notes: From the first.", "notes: From the second."}));
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    // Alone, a failed session shows its error.
    start();
    stop();
    finish(2, std::unexpected(TranscriptionError::unavailable()));
    EXPECT_EQ(state(), AppState::error("Transcription failed: On-device speech transcription is unavailable."));
    EXPECT_EQ(journal.back(), "indicator.hide");
    EXPECT_EQ(chunksOnDisk(), 0u);
}

TEST_F(RecordingCoordinatorTest, RecorderErrorEndsOnlyTheCurrentDeliveryAndKeepsItsText) {
    start();
    stop();  // the first session is still finishing
    start();
    insertion.focused = notes;
    phrase(1, "Unsaid.");
    journal.clear();

    recorder.onError("Failed to write audio data");
    EXPECT_EQ(journal, (Calls{"recorder.setOnPCM16Data(none)", "indicator.hide", "hotkey.resetToIdle",
                              "session.finishAndWait"}));
    EXPECT_EQ(state(), AppState::error("Failed to write audio data"));
    EXPECT_EQ(insertion.insertions, (Calls{"notes: Unsaid."})) << "the waiting text goes to the field focused now";
    // What was heard before the failure is still recognised and delivered; the error stays.
    phrase(1, "Heard last.");
    finish(1, "Unsaid. Heard last.");
    EXPECT_EQ(insertion.insertions, (Calls{"notes: Unsaid.", "notes: Heard last."}));
    EXPECT_EQ(state(), AppState::error("Failed to write audio data"));
    EXPECT_TRUE(sessions.sessions[1].expired());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 1u);
    finish(0, "");
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
}

TEST_F(RecordingCoordinatorTest, EventsForAGoneCoordinatorAreDropped) {
    start();
    auto session = sessions.at(0);
    session->handlers.onPhraseFinalized("Hello.", "Hello.");
    coordinator->transcribeImportedMedia("/tmp/a.wav");
    hotkey.onStopRecording();
    coordinator.reset();
    journal.clear();

    settle();
    files.completions[0]("late");
    hotkey.onStartRecording();
    hotkey.onRecordingModeChanged(true);
    recorder.onError("late");
    session->handlers.onFailure("late");
    advance(5s);
    EXPECT_TRUE(journal.empty());
    EXPECT_TRUE(insertion.insertions.empty());
    EXPECT_EQ(state(), AppState::recording());
    EXPECT_TRUE(errors().empty());
}

TEST_F(RecordingCoordinatorTest, ImportedFileResultsGoToTheirWindowsAndNeverIntoAField) {
    start();  // a dictation records meanwhile, undisturbed
    struct Case {
        Result result;
        std::string shown;
        std::optional<std::string> last;  // empty results are shown but not remembered
    };
    const std::vector<Case> cases = {
        {"Welcome.", "transcript(talk0.mp4: Welcome.)", "Welcome."},
        {"", "transcript(talk1.mp4: )", "Welcome."},
        {std::unexpected(TranscriptionError::noAudioTrack()),
         "failure(talk2.mp4: This file does not contain an audio track.)", "Welcome."},
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        journal.clear();
        const std::string job = "window" + std::to_string(index);
        const std::string file = "/home/user/talk" + std::to_string(index) + ".mp4";
        coordinator->transcribeImportedMedia(file);
        files.completions[index](cases[index].result);
        EXPECT_EQ(journal, (Calls{job + ".progress(" + file + ")"})) << "the result waits for the main thread";
        settle();
        EXPECT_EQ(journal, (Calls{job + ".progress(" + file + ")", job + "." + cases[index].shown}));
        EXPECT_EQ(menu->lastTranscription(), cases[index].last);
    }
    EXPECT_TRUE(insertion.insertions.empty());
    EXPECT_EQ(state(), AppState::recording());
}

}  // namespace
}  // namespace quillon
