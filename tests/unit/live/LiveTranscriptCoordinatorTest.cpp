#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "LiveTranscriptCoordinatorFixture.h"
#include "core/audio/LiveAudioPreferences.h"

namespace quillon::testing {
namespace {

TEST_F(LiveTranscriptCoordinatorTest, ARunListensThenDrainsThenHandsItsTextToTheTray) {
    coordinator().start();
    EXPECT_TRUE(coordinator().isActive());
    EXPECT_TRUE(activity.activeSnapshot()) << "dictation reads it to stay out of the way";

    const std::array<std::byte, 960> block{};
    microphone_.deliver(block);
    EXPECT_EQ(session(0).received, (std::vector<std::pair<std::size_t, double>>{{960, 48000.0}}));

    update(0, "Hello there.", "and", true);

    coordinator().stop();
    EXPECT_TRUE(coordinator().isStopping());
    EXPECT_FALSE(activity.activeSnapshot());
    EXPECT_TRUE(model().isProcessing()) << "the recogniser still works through its audio";
    microphone_.deliver(block);
    EXPECT_EQ(session(0).received.size(), 1u);

    update(0, "Hello there. And goodbye.", "", false);  // the drain still shows
    finished(0, "Hello there. And goodbye.");
    EXPECT_FALSE(coordinator().isStopping());
    EXPECT_EQ(model().committedText(), "Hello there. And goodbye.");
    EXPECT_EQ(model().provisionalText(), "");
    EXPECT_EQ(status.transcriptions, (std::vector<std::string>{"Hello there. And goodbye."}));
    EXPECT_EQ(status.states.back(), AppState::idle());
    EXPECT_TRUE(sessions.sessions[0].expired()) << "the finished session is let go";

    // The next run keeps the old text on screen until its first update, then replaces it.
    coordinator().start();
    EXPECT_EQ(model().committedText(), "Hello there. And goodbye.");
    update(1, "");
    EXPECT_EQ(model().committedText(), "");
}

// The user's edit made while a recogniser update is on its way survives that update, the ones
// after it and the final text.
TEST_F(LiveTranscriptCoordinatorTest, AnEditMadeWhileAnUpdateArrivesSurvivesItAndTheFinalText) {
    struct Case {
        const char* name;
        std::string edited;
        std::string expected;
    };
    const Case cases[] = {
        // What the merge makes of other edits is its own table's business.
        {"appended", "the quick brwn fox. Typed", "the quick brwn fox. Typed jumps over. The dog."},
        {"deleted", "", " jumps over. The dog."},
    };
    for (const auto& c : cases) {
        restart();
        listen();
        update(last(), "the quick brwn fox.");
        session(last()).handlers.onUpdate({"the quick brwn fox. jumps over.", "", true});  // not yet applied
        coordinator().editCommittedTranscript(c.edited);
        main.runUntilIdle();
        coordinator().stop();
        finished(last(), "the quick brwn fox. jumps over. The dog.");
        EXPECT_EQ(model().committedText(), c.expected) << c.name;
        EXPECT_EQ(status.transcriptions.back(), c.expected) << c.name;
    }
}

TEST_F(LiveTranscriptCoordinatorTest, StartOnlyBringsTheWindowUpWhenSomethingElseHasTheAudio) {
    dictationRecording = true;
    coordinator().showWindow();
    journal.clear();
    coordinator().start();
    EXPECT_EQ(journal, (CallJournal{"window.show"}));
    EXPECT_EQ(model().errorMessage(), "Stop the current recording first.");
    EXPECT_FALSE(coordinator().isActive());

    // Stop then start at once: nothing is queued for after the drain.
    dictationRecording = false;
    listen();
    coordinator().stop();
    journal.clear();
    coordinator().start();
    EXPECT_EQ(journal, (CallJournal{"window.show"}));
    finished(last(), "done");
    EXPECT_FALSE(coordinator().isActive()) << "the refused start stays refused after the drain";
    EXPECT_EQ(sessions.sessions.size(), 1u);
}

// Every failure ends the run at once, says why in the window and the tray, and keeps the text.
TEST_F(LiveTranscriptCoordinatorTest, AFailureEndsTheRunAndKeepsTheText) {
    struct Case {
        const char* name;
        std::function<void(LiveTranscriptCoordinatorTest&)> fail;
        std::string message;
    };
    const Case cases[] = {
        {"capture fails later", [](auto& t) { t.microphone_.fail(noMicrophone); }, noMicrophone.description()},
        {"session fails", [](auto& t) { t.failed(t.last(), "The speech model is missing."); },
         "The speech model is missing."},
        {"session fails while stopping",
         [](auto& t) {
             t.coordinator().stop();
             t.failed(t.last(), "The recogniser stopped.");
         },
         "The recogniser stopped."},
    };
    for (const auto& c : cases) {
        restart();
        listen();
        const auto held = sessions.at(last());  // to speak after the coordinator let it go
        update(last(), "Kept words.", "kept tail");
        c.fail(*this);
        main.runUntilIdle();
        EXPECT_FALSE(coordinator().isActive()) << c.name;
        EXPECT_FALSE(coordinator().isStopping()) << c.name;
        EXPECT_FALSE(capture.isRunning()) << c.name;
        EXPECT_FALSE(model().isListening()) << c.name;
        EXPECT_FALSE(model().isProcessing()) << c.name;
        EXPECT_EQ(model().errorMessage(), c.message) << c.name;
        EXPECT_EQ(status.states.back(), AppState::error("Live transcription failed: " + c.message)) << c.name;
        EXPECT_EQ(model().fullText(), "Kept words. kept tail") << c.name;
        EXPECT_EQ(std::ranges::count(journal, "session.cancel"), 1) << c.name;

        // A session that ended after the failure has no claim on the transcript; an update still shows.
        status.transcriptions.clear();
        finished(last(), "Late final text.");
        EXPECT_EQ(model().committedText(), "Kept words.") << c.name;
        EXPECT_TRUE(status.transcriptions.empty()) << c.name;
        update(last(), "Kept words. Late.");
        EXPECT_EQ(model().committedText(), "Kept words. Late.") << c.name;
    }
}

TEST_F(LiveTranscriptCoordinatorTest, ACaptureThatCannotStartLeavesNoSessionRunning) {
    microphone_.startFailures = {noMicrophone};
    coordinator().start();
    EXPECT_EQ(journal.back(), "session.cancel");
    EXPECT_FALSE(coordinator().isActive());
    EXPECT_EQ(model().errorMessage(), noMicrophone.description());
    EXPECT_EQ(status.states.back(), AppState::error("Live transcription failed: " + noMicrophone.description()));
    EXPECT_TRUE(sessions.sessions[0].expired());
}

TEST_F(LiveTranscriptCoordinatorTest, AClearRestartsARunningTranscriptOnceTheStopHasEnded) {
    struct Case {
        const char* name;
        std::function<void(LiveTranscriptCoordinatorTest&)> endStop;
    };
    const Case cases[] = {
        {"final text", [](auto& t) { t.finished(0, "Old words. Drained."); }},
        {"failure", [](auto& t) { t.failed(0, "The recogniser stopped."); }},
    };
    for (const auto& c : cases) {
        restart();
        listen();
        update(0, "Old words.");
        coordinator().clearTranscript();
        EXPECT_TRUE(coordinator().isStopping()) << c.name;
        EXPECT_EQ(model().committedText(), "Old words.") << c.name << ": nothing clears before the stop ends";
        EXPECT_EQ(main.pendingCount(), 0u) << c.name << ": no polling while the recogniser drains";

        c.endStop(*this);
        EXPECT_TRUE(coordinator().isActive()) << c.name;
        EXPECT_EQ(sessions.sessions.size(), 2u) << c.name;
        EXPECT_EQ(model().fullText(), "") << c.name;
        EXPECT_EQ(model().errorMessage(), std::nullopt) << c.name;
        update(1, "New words.");
        EXPECT_EQ(model().committedText(), "New words.") << c.name;
    }

    // A clear while stopping empties at once, and the drained text comes back.
    restart();
    listen();
    update(0, "Old words.", "and");
    coordinator().stop();
    coordinator().clearTranscript();
    EXPECT_EQ(model().fullText(), "");
    finished(0, "Old words. And more.");
    EXPECT_EQ(model().committedText(), "Old words. And more.");
    EXPECT_FALSE(coordinator().isActive()) << "a clear while stopping does not start again";
}

// A change of source while listening goes through capture's own restoration; the session runs on.
TEST_F(LiveTranscriptCoordinatorTest, ASourceChangeIsKeptOnlyWhenCaptureMadeIt) {
    struct Case {
        const char* name;
        bool listening;
        std::vector<std::optional<AudioCaptureError>> tapFailures;
        std::vector<std::optional<AudioCaptureError>> microphoneFailures;
        LiveAudioConfiguration kept;
        std::optional<std::string> error;
        bool active;
    };
    const std::string couldNotChange = "Could not change audio source: " + appGone.description();
    const std::string couldNotRestore =
        LiveAudioCaptureError{appGone, noMicrophone}.description();
    const Case cases[] = {
        {"idle", false, {appGone}, {}, callApp, std::nullopt, false},
        {"fails and restores", true, {appGone}, {}, microphone, couldNotChange, true},
        {"fails and cannot restore", true, {appGone}, {noMicrophone}, microphone, couldNotRestore, false},
    };
    for (const auto& c : cases) {
        restart();
        LiveAudioPreferences::setConfiguration(store, microphone);
        if (c.listening) listen();
        tap.startFailures = c.tapFailures;
        microphone_.startFailures = c.microphoneFailures;

        coordinator().setAudioConfiguration(callApp);
        EXPECT_EQ(model().audioConfiguration(), c.kept) << c.name;
        EXPECT_EQ(LiveAudioPreferences::configuration(store), c.kept) << c.name;
        EXPECT_EQ(model().errorMessage(), c.error) << c.name;
        EXPECT_FALSE(model().isChangingAudioSource()) << c.name;
        EXPECT_EQ(coordinator().isActive(), c.active) << c.name;
        if (c.active) {
            EXPECT_EQ(sessions.sessions.size(), 1u) << c.name;
            EXPECT_FALSE(sessions.sessions[0].expired()) << c.name << ": the session runs on";
        }
    }

    // While the recogniser drains, the choice cannot change.
    coordinator_.reset();
    listen();
    coordinator().stop();
    coordinator().setAudioConfiguration(callApp);
    EXPECT_EQ(model().audioConfiguration(), microphone);
}

}  // namespace
}  // namespace quillon::testing
