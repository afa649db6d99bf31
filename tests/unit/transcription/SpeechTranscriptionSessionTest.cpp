#include "core/transcription/SpeechTranscriptionSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SessionHarness.h"

namespace quillon {
namespace {

using ::testing::ElementsAre;
using testing::finalResult;
using ::testing::IsEmpty;
using testing::SessionHarness;
using testing::volatileResult;

class SpeechTranscriptionSessionTest : public ::testing::Test {
protected:
    SessionHarness h;
};

TEST_F(SpeechTranscriptionSessionTest, VolatileAndFinalResultsBecomeProvisionalAndCommittedTextInOrder) {
    h.engine.analyzeBatches = {{volatileResult("hello"), volatileResult("hello  wor\nld")},
                               {finalResult(" hello world "), volatileResult("how")}};
    h.engine.finalizeBatch = {volatileResult("how are"), finalResult("how are you")};

    auto session = h.start();
    SessionHarness::push(*session, 160);
    SessionHarness::push(*session, 160);
    h.finish(*session);
    EXPECT_THAT(h.events, IsEmpty()) << "nothing may happen before the worker runs";
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[|hello|processing]",
                                      "update[|hello wor ld|processing]", "update[hello world||processing]",
                                      "phrase[hello world|hello world]", "update[hello world|how|processing]",
                                      "update[hello world|how are|processing]",
                                      "update[hello world how are you||processing]",
                                      "phrase[how are you|hello world how are you]",
                                      "update[hello world how are you||done]", "finished[hello world how are you]",
                                      "completion"));
    ASSERT_TRUE(h.result && h.result->has_value());
    EXPECT_EQ(**h.result, "hello world how are you");
    EXPECT_EQ(h.engine.cancelCalls, 0);
    EXPECT_EQ(h.engine.analyzersAlive, 0) << "the analyzer is released once the run is over";
}

TEST_F(SpeechTranscriptionSessionTest, SessionWithoutAudioEndsEmptyWithoutFinalising) {
    auto session = h.start();
    h.worker.runUntilIdle();
    h.finish(*session);
    h.worker.runUntilIdle();
    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[||done]", "finished[]", "completion"));
    EXPECT_EQ(h.engine.finalizeCalls, 0);
    EXPECT_EQ(h.engine.cancelCalls, 1);
}

TEST_F(SpeechTranscriptionSessionTest, AudioBeforeTheModelIsReadyIsKeptAndAudioAfterTheFinishIsDropped) {
    h.engine.finalizeBatch = {finalResult("done")};
    {
        auto session = h.start();
        SessionHarness::push(*session, 320);
        h.finish(*session);
        SessionHarness::push(*session, 10);
        h.finish(*session);
    }  // the session outlives its caller until the run ends
    h.worker.runUntilIdle();

    EXPECT_EQ(h.engine.fed.size(), 320u);
    EXPECT_EQ(h.completions, 2) << "a second wait gets the same text";
    ASSERT_TRUE(h.result && h.result->has_value());
    EXPECT_EQ(**h.result, "done");
    EXPECT_EQ(std::ranges::count(h.events, std::string("finished[done]")), 1);
}

// Each step fails once, with its message, and the run ends without a last update.
TEST(SpeechSessionFailureTest, EachStepFailsOnceWithItsMessage) {
    const std::vector<std::string> started{"update[||processing]"};
    const std::vector<std::string> kept{"update[||processing]", "update[kept||processing]",
                                        "phrase[kept|kept]"};
    const std::string unavailable = "On-device speech transcription is unavailable.";
    const std::string unsupported = "On-device speech transcription does not support de_DE.";
    struct Case {
        const char* name;
        std::function<void(SessionHarness&)> arrange;
        std::vector<std::string> before;
        std::string failure;
        double rate = 16000.0;
    };
    const Case cases[] = {
        {"engine unavailable", [](auto& h) { h.engine.available = false; }, {}, unavailable},
        {"locale not supported", [](auto& h) { h.locale = "de_DE"; }, {}, unsupported},
        {"analyser fails",
         [](auto& h) {
             h.engine.analyzeFailure = {1, TranscriptionError::audioLoadFailed()};
             h.engine.analyzeBatches.insert(h.engine.analyzeBatches.end(),
                                            {{}, {finalResult("not analysed")}});
         },
         kept, "Failed to prepare audio for transcription."},
        {"finalise fails", [](auto& h) { h.engine.finalizeError = TranscriptionError::unavailable(); }, kept,
         unavailable},
        {"no converter", [](auto& h) { h.converters.refuseToMake = true; }, started,
         "Audio could not be converted for speech recognition.", 44100.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SessionHarness h;
        h.engine.analyzeBatches = {{finalResult("kept")}};
        c.arrange(h);
        auto session = h.start();
        for (int i = 0; i < 3; ++i) SessionHarness::push(*session, 30, 1, c.rate);
        h.finish(*session);
        h.worker.runUntilIdle();

        auto events = c.before;
        events.insert(events.end(), {"failure[" + c.failure + "]", "completion"});
        EXPECT_EQ(h.events, events);
        ASSERT_TRUE(h.result && !h.result->has_value());
        EXPECT_EQ(h.result->error().description(), c.failure);
        EXPECT_EQ(h.engine.analyzersAlive, 0);
    }
}

// ---- cancelling

TEST_F(SpeechTranscriptionSessionTest, CancelStopsEverythingAndEndsEveryWaitWithTheCancellation) {
    h.engine.analyzeBatches = {{volatileResult("one")}, {volatileResult("never")}};
    h.engine.finalizeBatch = {finalResult("never")};
    auto session = h.start();
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();
    h.finish(*session);
    session->cancel();
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();
    h.finish(*session);  // a wait that starts after the cancel ends the same way
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[|one|processing]", "completion", "completion"))
        << "neither onFinished nor onFailure";
    ASSERT_TRUE(h.result && !h.result->has_value());
    EXPECT_EQ(h.result->error(), TranscriptionError::cancelled());
    EXPECT_EQ(h.engine.cancelCalls, 1);
    EXPECT_EQ(h.engine.finalizeCalls, 0);
    EXPECT_EQ(h.engine.analyzersAlive, 0);

    SessionHarness early;
    auto cancelledAtOnce = early.start();
    cancelledAtOnce->cancel();
    early.finish(*cancelledAtOnce);
    early.worker.runUntilIdle();
    EXPECT_THAT(early.events, ElementsAre("completion"));
    EXPECT_THAT(early.engine.presets, IsEmpty()) << "cancelled before the run started, nothing is prepared";
}

TEST_F(SpeechTranscriptionSessionTest, CancelFromInsideACallbackDropsTheRestOfTheBatch) {
    h.engine.analyzeBatches = {{finalResult("first"), finalResult("second")}};
    std::shared_ptr<SpeechTranscriptionSession> session;
    auto handlers = h.handlers();
    handlers.onPhraseFinalized = [&](const std::string& phrase, const std::string&) {
        h.events.push_back("phrase[" + phrase + "]");
        session->cancel();
    };
    session = SpeechTranscriptionSession::start(h.support, h.converters, h.worker, handlers);
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();
    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[first||processing]", "phrase[first]"));
}

// ---- the hand-over from the audio thread is bounded

TEST_F(SpeechTranscriptionSessionTest, AudioThatDoesNotFitIsDroppedWholeCountedAndLoggedOnceUntilTheEnd) {
    auto session = SpeechTranscriptionSession::start(h.support, h.converters, h.worker, h.handlers(),
                                                     {.samples = 100, .blocks = 3});
    SessionHarness::push(*session, 60, 1);
    SessionHarness::push(*session, 60, 2);  // 20 samples short: dropped whole (3.75 ms)
    SessionHarness::push(*session, 40, 3);  // fills the samples
    SessionHarness::push(*session, 1, 4);   // no room at all (62 us)
    h.worker.runUntilIdle();                // the model is ready and the rings drain
    const auto drops = [&] { return h.log.output.messages(LogLevel::error); };
    EXPECT_THAT(drops(), ElementsAre("Speech recognition fell behind the audio; 3 ms of audio were dropped so far"));

    for (std::int16_t value = 5; value <= 8; ++value) SessionHarness::push(*session, 1, value);  // 8: no header room
    SessionHarness::push(*session, 160, 9);  // 10 ms more: counted, not logged yet
    h.worker.runUntilIdle();
    EXPECT_EQ(drops().size(), 1u);

    h.finish(*session);
    h.worker.runUntilIdle();
    EXPECT_EQ(drops().back(), "Speech recognition dropped 13 ms of audio in all");
    std::vector<std::int16_t> kept(60, 1);
    kept.insert(kept.end(), 40, 3);
    kept.insert(kept.end(), {5, 6, 7});
    EXPECT_EQ(h.engine.fed, kept) << "the rest went through in order";
    EXPECT_EQ(h.completions, 1);
}

}  // namespace
}  // namespace quillon
