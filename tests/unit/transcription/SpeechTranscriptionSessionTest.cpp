#include "core/transcription/SpeechTranscriptionSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SessionHarness.h"

namespace quillon {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using testing::finalResult;
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

// ---- failures: each step fails once, with its message, and the run ends without a last update

struct Failure {
    const char* name;
    std::function<void(SessionHarness&)> arrange;
    std::vector<std::string> events;
    double rate = 16000.0;
};

class SpeechSessionFailureTest : public ::testing::TestWithParam<Failure> {};

TEST_P(SpeechSessionFailureTest, FailsOnceWithTheMessage) {
    SessionHarness h;
    h.engine.analyzeBatches = {{finalResult("kept")}};
    GetParam().arrange(h);
    auto session = h.start();
    for (int i = 0; i < 3; ++i) SessionHarness::push(*session, 30, 1, GetParam().rate);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAreArray(GetParam().events));
    ASSERT_TRUE(h.result && !h.result->has_value());
    EXPECT_EQ("failure[" + h.result->error().description() + "]", GetParam().events.end()[-2]);
    EXPECT_EQ(h.engine.analyzersAlive, 0);
}

const std::string unavailable = "failure[On-device speech transcription is unavailable.]";
const std::string loadFailed = "failure[Failed to prepare audio for transcription.]";
const std::string notConverted = "failure[Audio could not be converted for speech recognition.]";

INSTANTIATE_TEST_SUITE_P(
    Steps, SpeechSessionFailureTest,
    ::testing::Values(
        Failure{"engineUnavailable", [](SessionHarness& h) { h.engine.available = false; }, {unavailable, "completion"}},
        Failure{"localeNotSupported", [](SessionHarness& h) { h.locale = "de_DE"; },
                {"failure[On-device speech transcription does not support de_DE.]", "completion"}},
        Failure{"analyzerFails",
                [](SessionHarness& h) {
                    h.engine.analyzeFailure = {1, TranscriptionError::audioLoadFailed()};
                    h.engine.analyzeBatches.insert(h.engine.analyzeBatches.end(), {{}, {finalResult("not analysed")}});
                },
                {"update[||processing]", "update[kept||processing]", "phrase[kept|kept]", loadFailed, "completion"}},
        Failure{"finaliseFails", [](SessionHarness& h) { h.engine.finalizeError = TranscriptionError::unavailable(); },
                {"update[||processing]", "update[kept||processing]", "phrase[kept|kept]", unavailable, "completion"}},
        Failure{"noConverter", [](SessionHarness& h) { h.converters.refuseToMake = true; },
                {"update[||processing]", notConverted, "completion"}, 44100.0}),
    [](const ::testing::TestParamInfo<Failure>& param) { return std::string(param.param.name); });

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

// ---- audio in

TEST(SpeechSessionPCMBufferTest, BlocksBecomeLittleEndianMonoBuffers) {
    const std::byte bytes[] = {std::byte{0xfe}, std::byte{0xff}, std::byte{0x00}, std::byte{0x80}, std::byte{0x34}};
    auto buffer = SpeechTranscriptionSession::makePCMBuffer(bytes, 48000.0);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->format, (AudioFormat{48000.0, 1}));
    EXPECT_THAT(buffer->samples, ElementsAre(-2, -32768)) << "an odd last byte is dropped";
    EXPECT_FALSE(SpeechTranscriptionSession::makePCMBuffer(std::span(bytes, 1), 16000.0));
    EXPECT_FALSE(SpeechTranscriptionSession::makePCMBuffer(bytes, 0.0));
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
