#include "core/dictation/RecordingCoordinator.h"

#include <fstream>

#include "DictationWorld.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using Calls = std::vector<std::string>;
using Insertion = testing::FakeTextInsertion::Insertion;

class RecordingCoordinatorTest : public testing::DictationWorld {};

// --- Start -------------------------------------------------------------------------------------

TEST_F(RecordingCoordinatorTest, StartBindsTheFocusedFieldBeforeAnythingElseAndAnnouncesTheRecording) {
    hotkey.pressStart();
    EXPECT_TRUE(journal.calls.empty()) << "the start waits for the key event to be handled";
    main.runUntilIdle();

    EXPECT_EQ(journal.calls, (Calls{"insertion.captureFocusedTextTarget", "sessions.makeSession",
                                    "recorder.setOnPCM16Data(handler)", "recorder.startRecording(false, true)",
                                    "indicator.setMode(recording)", "indicator.show", "sound.play(Start)"}));
    EXPECT_EQ(state(), AppState::recording());
    EXPECT_EQ(infos(), (Calls{"Recording started (tap-to-toggle mode: false)"}));
    EXPECT_TRUE(coordinator->activeInsertionSessionID());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 1u);
}

TEST_F(RecordingCoordinatorTest, HotkeyIsIgnoredWhileALiveTranscriptRuns) {
    liveTranscript.setActiveSnapshot(true);
    pressStart();
    EXPECT_TRUE(journal.calls.empty());
    EXPECT_EQ(infos(), (Calls{"Ignoring dictation hotkey while live transcription is active"}));
    EXPECT_EQ(state(), AppState::idle());

    // The hotkey was not reset, so its release still arrives: the mode change finds no recording
    // and the next press stops nothing, visibly.
    hotkey.changeMode(true);
    EXPECT_TRUE(journal.calls.empty());
    pressStop();
    EXPECT_EQ(state(), AppState::transcribing());
    EXPECT_EQ(indicator.mode, RecordingIndicatorMode::transcribing);
    EXPECT_EQ(sessions.count(), 0u);
    EXPECT_EQ(main.pendingCount(), 1u);  // only the release of the End sound
}

TEST_F(RecordingCoordinatorTest, StartWithoutATextFieldAsksTheUserToClickInOne) {
    struct Case {
        std::optional<TextInsertionError> failure;
        std::string logged;
    };
    const std::vector<Case> cases = {
        {std::nullopt, "Could not bind recording to a focused text field: No focused text element found"},
        {TextInsertionError::accessibilityNotGranted,
         "Could not bind recording to a focused text field: Accessibility permission not granted"},
    };
    insertion.focused = nullptr;
    for (const auto& testCase : cases) {
        insertion.captureFailure = testCase.failure;
        log.output.clear();
        const int resets = hotkey.resetCount;
        pressStart();
        EXPECT_EQ(errors(), (Calls{testCase.logged}));
        EXPECT_EQ(state(), AppState::error("Click in a text field before starting dictation."));
        EXPECT_EQ(hotkey.resetCount, resets + 1);
    }
    EXPECT_EQ(recorder.startCount, 0);
    EXPECT_EQ(sessions.count(), 0u);
    EXPECT_EQ(indicator.showCount, 0);
    EXPECT_TRUE(sounds.loaded.empty());
}

TEST_F(RecordingCoordinatorTest, FailedRecorderStartUndoesTheSessionAndLeavesTheHotkeyAlone) {
    recorder.startFailure = "Failed to create audio converter";
    pressStart();

    EXPECT_EQ(journal.calls, (Calls{"insertion.captureFocusedTextTarget", "sessions.makeSession",
                                    "recorder.setOnPCM16Data(handler)", "recorder.startRecording(false, true)",
                                    "session.cancel", "recorder.setOnPCM16Data(none)"}));
    EXPECT_EQ(errors(), (Calls{"Failed to start recording: Failed to create audio converter"}));
    EXPECT_EQ(state(), AppState::error("Failed to start recording: Failed to create audio converter"));
    EXPECT_FALSE(sessions.isAlive(0));
    EXPECT_FALSE(coordinator->hasTranscriptionSession());
    EXPECT_FALSE(coordinator->activeInsertionSessionID());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    EXPECT_EQ(hotkey.resetCount, 0);

    // The hotkey still thinks it records: its mode change is ignored, and its stop completes
    // nothing and leaves the icon at transcribing until the next transition.
    hotkey.changeMode(true);
    EXPECT_FALSE(coordinator->isTapToggleMode());
    pressStop();
    EXPECT_EQ(state(), AppState::transcribing());
    EXPECT_EQ(indicator.mode, RecordingIndicatorMode::transcribing);
    EXPECT_EQ(hotkey.resetCount, 1);
    EXPECT_TRUE(recorder.chunkFiles.empty());
}

TEST_F(RecordingCoordinatorTest, MicrophoneAudioStreamsIntoTheSessionUntilTheRecordingCompletes) {
    pressStart();
    recorder.deliverPCM16(2730);
    recorder.deliverPCM16(2);
    auto session = sessions.session(0);
    EXPECT_EQ(session->bytesReceived(), 2732u);
    EXPECT_EQ(session->sampleRates(), (std::vector<double>{16000.0, 16000.0}));

    pressStop();
    EXPECT_FALSE(recorder.hasPCM16Handler());
}

// --- Mode and stop -----------------------------------------------------------------------------

TEST_F(RecordingCoordinatorTest, ModeChangeArmsTheRecorderOnlyWhileItRecords) {
    pressStart();
    journal.clear();
    hotkey.changeMode(true);  // applied within the key event, not posted
    EXPECT_EQ(journal.calls, (Calls{"recorder.setTapToggleMode(true)"}));
    EXPECT_TRUE(coordinator->isTapToggleMode());
    EXPECT_TRUE(recorder.isMaxDurationTimerArmed());
    EXPECT_EQ(infos().back(), "Recording mode changed (tap-to-toggle mode: true)");
    EXPECT_EQ(state(), AppState::recording());
}

TEST_F(RecordingCoordinatorTest, StopHandsTheHotkeyBackAtOnceAndFinishesTheSessionAfterwards) {
    pressStart();
    hotkey.changeMode(true);
    journal.clear();
    hotkey.pressStop();
    EXPECT_TRUE(journal.calls.empty());
    main.runUntilIdle();

    EXPECT_EQ(journal.calls,
              (Calls{"recorder.setIsTapToggleMode(false)", "recorder.cancelMaxDurationTimer", "recorder.stopRecording",
                     "indicator.setMode(transcribing)", "hotkey.resetToIdle", "sound.play(End)",
                     // the recorder's completion, posted from within its stop
                     "recorder.setOnPCM16Data(none)", "session.finishAndWait"}));
    EXPECT_FALSE(coordinator->isTapToggleMode());
    EXPECT_FALSE(recorder.isMaxDurationTimerArmed());
    EXPECT_EQ(state(), AppState::transcribing());
    EXPECT_EQ(infos().back(), "Recording stopped");
}

// --- Completion --------------------------------------------------------------------------------

TEST_F(RecordingCoordinatorTest, FinishedSessionGoesIdleRemembersItsTranscriptAndKeepsNoAudio) {
    pressStart();
    sessions.session(0)->finalizePhrase("Hello there.", "Hello there.");
    EXPECT_TRUE(insertion.insertions.empty()) << "session results wait for the main thread";
    main.runUntilIdle();
    pressStop();
    EXPECT_EQ(chunkFilesOnDisk(), 1u) << "the chunk stays until the session has finished";

    sessions.session(0)->finish("Hello there. General Kenobi.");
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 1u);
    main.runUntilIdle();
    EXPECT_EQ(chunkFilesOnDisk(), 0u);
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_FALSE(indicator.visible);
    EXPECT_EQ(menu->lastTranscription(), "Hello there. General Kenobi.");
    // Only what was finalised while recording went into the field.
    EXPECT_EQ(insertion.insertedTexts(), (Calls{"Hello there."}));
    EXPECT_FALSE(coordinator->activeInsertionSessionID());
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    EXPECT_EQ(infos().back(), "Transcription complete");
    EXPECT_FALSE(sessions.isAlive(0));
}

TEST_F(RecordingCoordinatorTest, TextWaitingAtTheStopGoesToTheFieldFocusedThen) {
    pressStart();
    insertion.focused = notes;
    phrase(0, "Held back.", "Held back.");
    EXPECT_TRUE(insertion.insertions.empty());
    pressStop();
    EXPECT_EQ(insertion.insertions, (std::vector<Insertion>{{"notes", "Held back."}}));

    // A phrase the session finalises after the stop follows without a focus check.
    insertion.focused = nullptr;
    phrase(0, "And more.", "Held back. And more.");
    EXPECT_EQ(insertion.insertions.back(), (Insertion{"", "And more."}));
    finishSession(0, "Held back. And more.");
    EXPECT_EQ(state(), AppState::idle());
}

TEST_F(RecordingCoordinatorTest, FailedTranscriptionShowsItsErrorAndStillEndsTheDelivery) {
    pressStart();
    pressStop();
    finishSession(0, std::unexpected(TranscriptionError::unavailable()));

    const std::string message = "Transcription failed: On-device speech transcription is unavailable.";
    EXPECT_EQ(state(), AppState::error(message));
    EXPECT_FALSE(indicator.visible);
    EXPECT_EQ(errors(), (Calls{message}));
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    EXPECT_FALSE(coordinator->activeInsertionSessionID());
    EXPECT_EQ(chunkFilesOnDisk(), 0u);
}

TEST_F(RecordingCoordinatorTest, DecodeFailureIsLoggedOnlyWhileTheSessionDelivers) {
    pressStart();
    auto session = sessions.session(0);
    session->reportFailure("Audio buffer could not be analysed");
    main.runUntilIdle();
    EXPECT_EQ(errors(), (Calls{"Transcription decode failed: Audio buffer could not be analysed"}));
    EXPECT_EQ(state(), AppState::recording());
    EXPECT_TRUE(recorder.isRunning());

    pressStop();
    finishSession(0, "");
    session->reportFailure("too late");
    main.runUntilIdle();
    EXPECT_EQ(errors().size(), 1u);
}

// --- Roll-over of long recordings --------------------------------------------------------------

TEST_F(RecordingCoordinatorTest, RollOverEndsTheSessionButTheRecordingRunsOn) {
    pressStart();
    hotkey.changeMode(true);
    phrase(0, "Chapter one.", "Chapter one.");
    recorder.rollOver();  // the completion it posts runs after the flag is cleared again
    main.runUntilIdle();

    EXPECT_TRUE(sessions.session(0)->isFinishing());
    EXPECT_FALSE(coordinator->hasTranscriptionSession());
    EXPECT_FALSE(recorder.hasPCM16Handler());
    finishSession(0, "Chapter one.");
    EXPECT_EQ(state(), AppState::recording()) << "the recorder still runs";
    EXPECT_EQ(indicator.hideCount, 0);
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);

    // A later chunk boundary with no session attached is not a roll-over to keep: it completes.
    recorder.automaticRollover = true;
    recorder.stopRecording();
    main.runUntilIdle();
    recorder.automaticRollover = false;
    EXPECT_EQ(log.output.count("Recording file rolled over while transcription continues"), 0u);
    EXPECT_EQ(log.output.count("Transcription complete"), 2u);
    EXPECT_EQ(state(), AppState::idle());

    // The stop of a chunk without a session completes at once and goes idle.
    ASSERT_TRUE(recorder.startRecording(true, true));
    pressStop();
    EXPECT_EQ(sessions.count(), 1u);
    EXPECT_EQ(state(), AppState::idle());
    EXPECT_FALSE(indicator.visible);
    EXPECT_EQ(chunkFilesOnDisk(), 0u);
    EXPECT_EQ(log.output.count("Transcription complete"), 3u);
}

TEST_F(RecordingCoordinatorTest, CompletionSeenDuringTheRollOverKeepsTheSessionGoing) {
    pressStart();
    const auto chunk = chunkDirectory / "recording_chunk.wav";
    std::ofstream(chunk) << "RIFF";
    recorder.automaticRollover = true;
    recorder.onRecordingComplete(chunk);
    main.runUntilIdle();
    recorder.automaticRollover = false;

    EXPECT_FALSE(std::filesystem::exists(chunk));
    EXPECT_EQ(infos().back(), "Recording file rolled over while transcription continues");
    EXPECT_TRUE(coordinator->hasTranscriptionSession());
    EXPECT_FALSE(sessions.session(0)->finishRequested);
    EXPECT_TRUE(recorder.hasPCM16Handler());
    phrase(0, "Still bound.", "Still bound.");
    EXPECT_EQ(insertion.insertions, (std::vector<Insertion>{{"editor", "Still bound."}}));
}

// --- Overlapping sessions and recorder errors --------------------------------------------------

TEST_F(RecordingCoordinatorTest, SecondRecordingMayStartWhileTheFirstStillDelivers) {
    struct Case {
        const char* name;
        std::expected<std::string, TranscriptionError> firstResult;
        std::size_t errorsLogged;
    };
    const std::vector<Case> cases = {
        {"first succeeds", "From the first.", 0},
        {"first fails", std::unexpected(TranscriptionError::audioConversionUnavailable()), 1},
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const auto& testCase = cases[index];
        SCOPED_TRACE(testCase.name);
        const std::size_t first = sessions.count();
        insertion.focused = editor;
        insertion.insertions.clear();
        log.output.clear();

        pressStart();
        pressStop();
        insertion.focused = notes;
        pressStart();
        const auto second = coordinator->activeInsertionSessionID();
        EXPECT_EQ(coordinator->insertionDeliveries().size(), 2u);

        // The first session's late phrase goes to the field focused now: the second's.
        phrase(first, "From the first.", "From the first.");
        EXPECT_EQ(insertion.insertions.back(), (Insertion{"notes", "From the first."}));
        finishSession(first, testCase.firstResult);
        EXPECT_EQ(errors().size(), testCase.errorsLogged);
        EXPECT_EQ(coordinator->activeInsertionSessionID(), second);
        EXPECT_TRUE(coordinator->hasTranscriptionSession());
        EXPECT_EQ(state(), AppState::recording());
        EXPECT_TRUE(indicator.visible);

        phrase(first + 1, "From the second.", "From the second.");
        EXPECT_EQ(insertion.insertions.back(), (Insertion{"notes", "From the second."}));
        pressStop();
        finishSession(first + 1, "From the second.");
        EXPECT_EQ(state(), AppState::idle());
        EXPECT_FALSE(indicator.visible);
        EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
    }
}

TEST_F(RecordingCoordinatorTest, RecorderErrorEndsOnlyTheCurrentDeliveryAndKeepsItsText) {
    pressStart();
    pressStop();  // the first session is still finishing
    pressStart();
    insertion.focused = notes;
    phrase(1, "Unsaid.", "Unsaid.");
    journal.clear();

    recorder.fail("Failed to write audio data");
    EXPECT_EQ(journal.calls, (Calls{"session.cancel", "recorder.setOnPCM16Data(none)", "indicator.hide",
                                    "hotkey.resetToIdle"}));
    EXPECT_EQ(errors(), (Calls{"Recording error: Failed to write audio data"}));
    EXPECT_EQ(state(), AppState::error("Failed to write audio data"));
    EXPECT_FALSE(sessions.isAlive(1));
    // The delivery's waiting text went to the field focused now.
    EXPECT_EQ(insertion.insertions, (std::vector<Insertion>{{"notes", "Unsaid."}}));
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 1u);

    finishSession(0, "");
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
}

TEST_F(RecordingCoordinatorTest, EventsForAGoneCoordinatorAreDropped) {
    pressStart();
    auto session = sessions.session(0);
    session->finalizePhrase("Hello.", "Hello.");
    hotkey.pressStop();
    coordinator.reset();
    journal.clear();

    main.runUntilIdle();
    hotkey.pressStart();
    hotkey.changeMode(true);
    recorder.fail("late");
    session->reportFailure("late");
    main.advance(5s);
    EXPECT_TRUE(journal.calls.empty());
    EXPECT_TRUE(insertion.insertions.empty());
    EXPECT_EQ(menu->state(), AppState::recording());
    EXPECT_TRUE(errors().empty());
}

TEST_F(RecordingCoordinatorTest, DictationWorksWithoutTheMenuBar) {
    coordinator->setMenuBarController({});
    menu.reset();
    pressStart();
    phrase(0, "Typed anyway.", "Typed anyway.");
    insertion.insertFailure = TextInsertionError::insertionFailed;
    phrase(0, "Lost.", "Typed anyway. Lost.");
    pressStop();
    finishSession(0, "Typed anyway. Lost.");
    EXPECT_EQ(insertion.insertedTexts(), (Calls{"Typed anyway."}));
    EXPECT_FALSE(pasteboard.text);
    EXPECT_EQ(coordinator->insertionDeliveries().size(), 0u);
}

}  // namespace
}  // namespace quillon
