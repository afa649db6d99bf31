// The audio file beside a live transcript with its save dialog, and the AI cleanup brought into a
// transcript that moved on while it ran.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "LiveTranscriptCoordinatorFixture.h"

namespace quillon::testing {
namespace {

using std::chrono_literals::operator""ms;

class LiveAudioRecordingTest : public LiveTranscriptCoordinatorTest {
public:
    // Records one block during a run and presses the control twice, the second time while closing.
    std::filesystem::path recordAndFinish() {
        coordinator().startAudioRecording();
        EXPECT_TRUE(model().isRecordingAudio());
        microphone_.deliver(std::vector<std::byte>(9600));
        fileQueue.advance(100ms);
        coordinator().finishAudioRecordingAndPromptForSave(true);
        EXPECT_TRUE(model().isFinishingAudioRecording());
        coordinator().finishAudioRecordingAndPromptForSave(true);
        fileQueue.runUntilIdle();
        main.runUntilIdle();
        EXPECT_FALSE(model().isFinishingAudioRecording());
        return files.files.back()->path;
    }
    // The dialog's answer, then the background move and its report.
    void answer(std::optional<std::filesystem::path> destination) {
        saveDialog.answer(std::move(destination));
        jobs.runAll();
        main.runUntilIdle();
    }
};

// Saving where the user chose is the live transcript program test's.
TEST_F(LiveAudioRecordingTest, ARecordingIsOfferedUnderALocalTimeStampedNameAndDecliningDeletesIt) {
    coordinator().startAudioRecording();
    EXPECT_FALSE(model().isRecordingAudio()) << "no run, no recording";

    clock.set(std::chrono::sys_days{std::chrono::year{2026} / 3 / 9} + std::chrono::hours{23} +
              std::chrono::minutes{5});
    clock.setUtcOffset(std::chrono::hours{2});
    listen();
    const auto declined = recordAndFinish();
    ASSERT_EQ(saveDialog.requests.size(), 1u) << "the second press did nothing";
    EXPECT_EQ(saveDialog.requests[0].suggestedName, "Quillon Recording 2026-03-10 01.05.00.m4a");
    EXPECT_TRUE(saveDialog.requests[0].attachToTranscriptWindow);
    answer(std::nullopt);
    EXPECT_EQ(fileMover.removed, std::vector<std::filesystem::path>{declined});
    EXPECT_TRUE(model().isListening()) << "the run goes on";

    const auto kept = recordAndFinish();
    fileMover.failure = "Permission denied";
    answer("/readonly/talk.m4a");
    EXPECT_EQ(model().errorMessage(),
              "Could not save the recording: Permission denied. The temporary file remains at " +
                  kept.string() + ".");
    EXPECT_EQ(fileMover.removed.size(), 1u);
}

TEST_F(LiveAudioRecordingTest, AWriteFailureOrAClosedWindowEndsTheRecordingAndOffersWhatWasWritten) {
    listen();
    files.writeFailure = "no space";
    coordinator().startAudioRecording();
    microphone_.deliver(std::vector<std::byte>(9600));
    fileQueue.advance(100ms);
    main.runUntilIdle();
    fileQueue.runUntilIdle();
    main.runUntilIdle();
    EXPECT_EQ(model().errorMessage(), "Could not write the audio recording: no space");
    ASSERT_EQ(saveDialog.requests.size(), 1u);
    EXPECT_TRUE(saveDialog.requests[0].attachToTranscriptWindow);
    EXPECT_TRUE(model().isListening());
    answer(std::nullopt);

    files.writeFailure.reset();
    coordinator().startAudioRecording();
    windows.latest->close();
    fileQueue.runUntilIdle();
    main.runUntilIdle();
    ASSERT_EQ(saveDialog.requests.size(), 2u);
    EXPECT_FALSE(saveDialog.requests[1].attachToTranscriptWindow) << "the window has gone";
    EXPECT_FALSE(coordinator().isActive());
}

class LiveTranscriptCleanupTest : public LiveTranscriptCoordinatorTest {
public:
    LiveTranscriptCleanupTest() {
        host.vars = {{"HOME", ::testing::TempDir() + "quillon-live-cleanup-home"}, {"PATH", "/usr/bin:/bin"}};
        host.executables = {"/usr/bin/codex"};
        server.answeringHandshake().withAccount("chatgpt").answeringThreads();
        // The turn is started and left open until the test completes it.
        server.on("turn/start", [this](FakeCodexAppServer& fake, const Json& message) {
            sent = message["params"].dump();
            fake.reply(message["id"], Json{{"turn", {{"id", "cleanup"}}}});
        });
    }
    void cleanupReturns(const std::string& cleaned) {
        server.completeTurn("cleanup", Json{{"transcript", cleaned}}.dump());
        main.runUntilIdle();
    }

    std::string sent;
};

// What arrived while the cleanup ran stays: an edit inside the sent text and the speech after it.
// A new run meanwhile takes the transcript away from the cleanup.
TEST_F(LiveTranscriptCleanupTest, TheCleanedTextKeepsWhatArrivedMeanwhile) {
    listen();
    update(last(), "hello ada", "and");
    coordinator().cleanupTranscript();
    main.runUntilIdle();
    EXPECT_TRUE(model().isCleaningTranscript());
    EXPECT_NE(sent.find("hello ada"), std::string::npos);
    EXPECT_EQ(sent.find("hello ada and"), std::string::npos) << "the provisional tail is never sent";
    coordinator().cleanupTranscript();  // a second press while running
    coordinator().editCommittedTranscript("hello ADA");
    update(last(), "hello ada, then", "");
    cleanupReturns("Hello, Ada.");
    EXPECT_EQ(model().committedText(), "Hello, Ada., then");
    EXPECT_FALSE(model().isCleaningTranscript());
    EXPECT_EQ(server.requests("turn/start").size(), 1u);

    coordinator().cleanupTranscript();
    main.runUntilIdle();
    update(last(), "", "");
    cleanupReturns("Hello, Ada.");
    EXPECT_EQ(model().committedText(), "");
    EXPECT_EQ(model().cleanupErrorMessage(), std::string(LiveTranscriptCoordinator::cleanupConflictMessage));
}

TEST_F(LiveTranscriptCleanupTest, AClearCancelsTheCleanupAndAFailureIsShownInItsOwnWords) {
    listen();
    update(last(), "hello ada");
    coordinator().cleanupTranscript();
    main.runUntilIdle();
    coordinator().stop();
    finished(last(), "hello ada");
    coordinator().clearTranscript();
    main.runUntilIdle();
    EXPECT_FALSE(model().isCleaningTranscript());
    EXPECT_TRUE(model().committedText().empty());
    EXPECT_FALSE(model().cleanupErrorMessage()) << "the cancelled call's failure is not shown";

    coordinator().editCommittedTranscript("  \n");
    coordinator().cleanupTranscript();
    EXPECT_FALSE(model().isCleaningTranscript()) << "white space is not sent";

    coordinator().editCommittedTranscript("hello grace");
    server.on("turn/start", [](FakeCodexAppServer& fake, const Json& message) {
        fake.emit(Json{{"id", message["id"]}, {"error", {{"code", -1}, {"message", "quota"}}}});
    });
    coordinator().cleanupTranscript();
    main.runUntilIdle();
    ASSERT_TRUE(model().cleanupErrorMessage());
    EXPECT_TRUE(model().cleanupErrorMessage()->starts_with("AI cleanup failed: "))
        << *model().cleanupErrorMessage();
    EXPECT_EQ(model().committedText(), "hello grace");
}

}  // namespace
}  // namespace quillon::testing
