#include "core/transcription/SpeechTranscriptionSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SessionHarness.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"

namespace quillon {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::finalResult;
using testing::SessionHarness;
using testing::volatileResult;

class SpeechTranscriptionSessionTest : public ::testing::Test {
protected:
    SessionHarness h;
};

TEST_F(SpeechTranscriptionSessionTest, VolatileAndFinalResultsBecomeProvisionalAndCommittedTextInOrder) {
    h.engine.scriptAnalyze({volatileResult("hello"), volatileResult("hello  wor\nld")});
    h.engine.scriptAnalyze({finalResult(" hello world "), volatileResult("how")});
    h.engine.scriptFinalize({volatileResult("how are"), finalResult("how are you")});

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
    ASSERT_TRUE(h.finalResult && h.finalResult->has_value());
    EXPECT_EQ(**h.finalResult, "hello world how are you");

    const auto record = h.engine.record();
    EXPECT_THAT(record.presets, ElementsAre(TranscriberPreset::progressiveTranscription));
    EXPECT_THAT(record.locales, ElementsAre("en-US"));
    EXPECT_EQ(record.finalizeCalls, 1);
    EXPECT_EQ(record.cancelCalls, 0);
    EXPECT_EQ(record.analyzersAlive, 0) << "the analyzer is released once the run is over";
}

TEST_F(SpeechTranscriptionSessionTest, ResultTextEdgeCases) {
    h.rules.setCorrections({{"uh", ""}, {"open ai", "OpenAI"}});
    h.engine.scriptAnalyze({volatileResult("open ai is"), finalResult("   "), finalResult("")});
    h.engine.scriptAnalyze({finalResult("open ai rocks"), volatileResult("uh")});
    h.engine.scriptAnalyze({finalResult(", then more"), finalResult("uh")});

    auto session = h.start();
    for (int i = 0; i < 3; ++i) SessionHarness::push(*session, 10);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events,
                ElementsAre("update[||processing]",
                            // corrections act on volatile text too
                            "update[|OpenAI is|processing]",
                            // blank finals change nothing, so "OpenAI is" stays displayed until replaced
                            "update[OpenAI rocks||processing]", "phrase[OpenAI rocks|OpenAI rocks]",
                            // a volatile result emptied by corrections empties the provisional text
                            "update[OpenAI rocks||processing]",
                            // a leading comma joins without a blank; the phrase keeps it as it stands
                            "update[OpenAI rocks, then more||processing]",
                            "phrase[, then more|OpenAI rocks, then more]",
                            "update[OpenAI rocks, then more||done]", "finished[OpenAI rocks, then more]",
                            "completion"));
}

TEST_F(SpeechTranscriptionSessionTest, SessionWithoutAudioEndsEmptyWithoutFinalising) {
    auto session = h.start();
    h.worker.runUntilIdle();
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[||done]", "finished[]", "completion"));
    EXPECT_EQ(h.engine.record().finalizeCalls, 0);
    EXPECT_EQ(h.engine.record().cancelCalls, 1);
}

TEST_F(SpeechTranscriptionSessionTest, AudioAndFinishBeforeTheModelIsReadyAreKept) {
    h.engine.scriptFinalize({finalResult("early words")});
    auto session = h.start();
    SessionHarness::push(*session, 320, 7);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_EQ(h.engine.record().fedSamples.size(), 320u);
    ASSERT_TRUE(h.finalResult && h.finalResult->has_value());
    EXPECT_EQ(**h.finalResult, "early words");
}

TEST_F(SpeechTranscriptionSessionTest, AudioAfterTheFinishIsDroppedAndASecondWaitGetsTheSameText) {
    h.engine.scriptFinalize({finalResult("done")});
    auto session = h.start();
    SessionHarness::push(*session, 10);
    h.finish(*session);
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_EQ(h.engine.record().fedSamples.size(), 10u);
    EXPECT_EQ(h.completions, 2);
    EXPECT_EQ(**h.finalResult, "done");
    EXPECT_EQ(std::count(h.events.begin(), h.events.end(), "finished[done]"), 1);
}

TEST_F(SpeechTranscriptionSessionTest, GlossaryReachesTheAnalyzerAtTheStart) {
    h.rules.setGlossary({"Quillon", "PocketSphinx"});
    auto session = h.start();
    h.worker.runUntilIdle();
    h.rules.setGlossary({"later"});
    h.finish(*session);
    h.worker.runUntilIdle();

    const auto contexts = h.engine.record().contexts;
    ASSERT_EQ(contexts.size(), 1u);
    EXPECT_THAT(contexts[0].contextualStrings.at(AnalysisContext::generalTag), ElementsAre("Quillon", "PocketSphinx"));
}

// ---- failures

struct PreparationFailure {
    const char* name;
    std::function<void(SessionHarness&)> arrange;
    std::string message;
};

class SpeechSessionPreparationFailureTest : public ::testing::TestWithParam<PreparationFailure> {};

TEST_P(SpeechSessionPreparationFailureTest, FailsOnceWithTheMessageAndNeverStreams) {
    SessionHarness h;
    GetParam().arrange(h);
    auto session = h.start();
    SessionHarness::push(*session, 10);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("failure[" + GetParam().message + "]", "completion"));
    ASSERT_TRUE(h.finalResult && !h.finalResult->has_value());
    EXPECT_EQ(h.finalResult->error().description(), GetParam().message);
    EXPECT_TRUE(h.engine.record().fedSamples.empty());
    EXPECT_EQ(h.engine.record().analyzersAlive, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, SpeechSessionPreparationFailureTest,
    ::testing::Values(
        PreparationFailure{"engineUnavailable", [](SessionHarness& h) { h.engine.available = false; },
                           "On-device speech transcription is unavailable."},
        PreparationFailure{"localeNotSupported", [](SessionHarness& h) { h.locale = "de_DE"; },
                           "On-device speech transcription does not support de_DE."},
        PreparationFailure{"modelMissing",
                           [](SessionHarness& h) { h.engine.assetsError = TranscriptionError::unavailable(); },
                           "On-device speech transcription is unavailable."},
        PreparationFailure{"noFormat", [](SessionHarness& h) { h.engine.format.reset(); },
                           "No compatible speech-recognition audio format is available."},
        PreparationFailure{"contextRefused",
                           [](SessionHarness& h) { h.engine.contextError = TranscriptionError::audioLoadFailed(); },
                           "Failed to prepare audio for transcription."},
        PreparationFailure{"prepareFails",
                           [](SessionHarness& h) { h.engine.prepareError = TranscriptionError::unavailable(); },
                           "On-device speech transcription is unavailable."}),
    [](const ::testing::TestParamInfo<PreparationFailure>& param) { return std::string(param.param.name); });

TEST_F(SpeechTranscriptionSessionTest, AnalyzerFailureEndsTheRunWithoutALastUpdate) {
    h.engine.scriptAnalyze({finalResult("kept")});
    h.engine.failAnalyzeCall(1, TranscriptionError::audioLoadFailed());
    auto session = h.start();
    for (int i = 0; i < 3; ++i) SessionHarness::push(*session, 10);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[kept||processing]", "phrase[kept|kept]",
                                      "failure[Failed to prepare audio for transcription.]", "completion"));
    const auto record = h.engine.record();
    EXPECT_EQ(record.analyzeCalls, 2) << "audio after the failure is not analysed";
    EXPECT_EQ(record.cancelCalls, 1);
    EXPECT_EQ(record.finalizeCalls, 0);
}

TEST_F(SpeechTranscriptionSessionTest, FinaliseFailureIsReportedAsTheRunsError) {
    h.engine.finalizeError = TranscriptionError::unavailable();
    auto session = h.start();
    SessionHarness::push(*session, 10);
    h.finish(*session);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "failure[On-device speech transcription is unavailable.]",
                                      "completion"));
}

// ---- cancelling

TEST_F(SpeechTranscriptionSessionTest, CancelStopsEverythingSilently) {
    h.engine.scriptAnalyze({volatileResult("one")});
    h.engine.scriptFinalize({finalResult("never")});
    auto session = h.start();
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();
    h.finish(*session);
    session->cancel();
    SessionHarness::push(*session, 10);
    h.worker.runUntilIdle();

    EXPECT_THAT(h.events, ElementsAre("update[||processing]", "update[|one|processing]"));
    const auto record = h.engine.record();
    EXPECT_EQ(record.cancelCalls, 1);
    EXPECT_EQ(record.finalizeCalls, 0);
    EXPECT_EQ(record.analyzeCalls, 1);
    EXPECT_EQ(record.analyzersAlive, 0);
}

TEST_F(SpeechTranscriptionSessionTest, CancelBeforeTheRunStartsPreparesNothing) {
    auto session = h.start();
    session->cancel();
    h.worker.runUntilIdle();
    EXPECT_THAT(h.events, IsEmpty());
    EXPECT_TRUE(h.engine.record().presets.empty());
}

TEST_F(SpeechTranscriptionSessionTest, CancelFromInsideACallbackDropsTheRestOfTheBatch) {
    h.engine.scriptAnalyze({finalResult("first"), finalResult("second")});
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

TEST_F(SpeechTranscriptionSessionTest, TheSessionOutlivesItsCallerUntilTheRunEnds) {
    h.engine.scriptFinalize({finalResult("still here")});
    {
        auto session = h.start();
        SessionHarness::push(*session, 10);
        h.finish(*session);
    }
    h.worker.runUntilIdle();
    ASSERT_TRUE(h.finalResult && h.finalResult->has_value());
    EXPECT_EQ(**h.finalResult, "still here");
}

// ---- audio in

TEST(SpeechSessionPCMBufferTest, BlocksBecomeLittleEndianMonoBuffers) {
    const std::byte one[] = {std::byte{1}};
    EXPECT_FALSE(SpeechTranscriptionSession::makePCMBuffer(one, 16000.0));
    EXPECT_FALSE(SpeechTranscriptionSession::makePCMBuffer({}, 16000.0));

    const std::byte three[] = {std::byte{0x34}, std::byte{0x12}, std::byte{0xff}};
    auto buffer = SpeechTranscriptionSession::makePCMBuffer(three, 48000.0);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->format, (AudioFormat{48000.0, 1}));
    EXPECT_THAT(buffer->samples, ElementsAre(0x1234));

    const std::byte negative[] = {std::byte{0xfe}, std::byte{0xff}, std::byte{0x00}, std::byte{0x80}};
    EXPECT_THAT(SpeechTranscriptionSession::makePCMBuffer(negative, 16000.0)->samples, ElementsAre(-2, -32768));
    EXPECT_FALSE(SpeechTranscriptionSession::makePCMBuffer(negative, 0.0));
}

TEST_F(SpeechTranscriptionSessionTest, LiveRateAudioIsConvertedThroughOneConverterKeptAcrossBuffers) {
    auto session = h.start();
    for (int i = 0; i < 4; ++i) SessionHarness::push(*session, 100, 5, 48000.0);  // 400 samples -> 134 at 16 kHz
    SessionHarness::push(*session, 30, 9, 16000.0);                                // passes through as it is
    SessionHarness::push(*session, 100, 5, 48000.0);                               // same converter: 33 more
    SessionHarness::push(*session, 30, 6, 24000.0);                                // a new converter: 20
    h.finish(*session);
    h.worker.runUntilIdle();

    const auto made = h.converters.made();
    ASSERT_EQ(made.size(), 2u) << "a converter is replaced only when the input format changes";
    EXPECT_EQ(made[0].first, (AudioFormat{48000.0, 1}));
    EXPECT_EQ(made[0].second, (AudioFormat{16000.0, 1}));
    EXPECT_EQ(made[1].first, (AudioFormat{24000.0, 1}));
    const auto fed = h.engine.record().fedSamples;
    EXPECT_EQ(std::count(fed.begin(), fed.end(), 5), 134 + 33) << "the converter's phase carries across buffers";
    EXPECT_EQ(std::count(fed.begin(), fed.end(), 9), 30);
    EXPECT_EQ(std::count(fed.begin(), fed.end(), 6), 20);
}

TEST_F(SpeechTranscriptionSessionTest, ConversionFailuresEndTheRun) {
    for (const bool refuse : {true, false}) {
        SessionHarness harness;
        harness.converters.refuseToMake = refuse;
        harness.converters.failConversion = !refuse;
        auto session = harness.start();
        SessionHarness::push(*session, 30, 1, 44100.0);
        harness.finish(*session);
        harness.worker.runUntilIdle();
        EXPECT_THAT(harness.events, ElementsAre("update[||processing]",
                                                "failure[Audio could not be converted for speech recognition.]",
                                                "completion"))
            << (refuse ? "no converter" : "converter fails");
    }
}

TEST(SpeechTranscriptionSessionFactoryTest, SessionsTakeTheWorkersInTurn) {
    SessionHarness h;
    ManualScheduler second;
    SpeechTranscriptionSessionFactory factory(h.support, h.converters, {&h.worker, &second});
    auto a = factory.makeSession(h.handlers());
    auto b = factory.makeSession(h.handlers());
    EXPECT_EQ(h.worker.pendingCount(), 1u);
    EXPECT_EQ(second.pendingCount(), 1u);
    a->cancel();
    b->cancel();
    h.worker.runUntilIdle();
    second.runUntilIdle();
}

}  // namespace
}  // namespace quillon
