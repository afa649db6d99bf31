// Core objects on real worker threads, the way the application runs them: these are the cases
// that ThreadSanitizer watches (scripts/test runs this binary under it).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <numeric>
#include <thread>

#include "core/transcription/SpeechTranscriptionSession.h"
#include "fakes/FakePCMConverterFactory.h"
#include "fakes/FakeSpeechEngine.h"
#include "fakes/FakeTranscriptTextRules.h"
#include "fakes/TestLog.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/base/SystemWallClock.h"

namespace quillon {
namespace {

using ::testing::SizeIs;

// An audio thread pushes 10 ms blocks while the session's worker drains them: every sample
// arrives, in order, and the final text follows. The fake engine is touched by the worker only.
TEST(ThreadedCore, SpeechSessionTakesAudioFromAnotherThreadInOrder) {
    SerialQueue logQueue("test-session-log");
    testing::TestLog log{logQueue};
    testing::FakeSpeechEngine engine;
    engine.finalizeBatch = {SpeechResult{"done", true}};
    testing::FakePCMConverterFactory converters;
    testing::FakeTranscriptTextRules rules;
    SpeechTranscriptionSupport support{engine, rules, [] { return std::string("en_US"); },
                                       log.logger(LogCategory::transcription)};
    SerialQueue worker("test-session");  // joined before what its tasks use goes
    auto session = SpeechTranscriptionSession::start(support, converters, worker, {});

    constexpr int blocks = 1000;  // ten seconds: as much as the rings hold
    std::thread audio([&session] {
        std::vector<std::int16_t> block(160);
        for (int i = 0; i < blocks; ++i) {
            std::iota(block.begin(), block.end(), static_cast<std::int16_t>((i * 160) % 16000));
            session->appendPCM16(std::as_bytes(std::span(block)), 16000.0);
        }
    });
    audio.join();
    std::promise<std::expected<std::string, TranscriptionError>> finished;
    session->finishAndWait([&finished](auto result) { finished.set_value(std::move(result)); });
    const auto result = finished.get_future().get();

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(*result, "done");
    ASSERT_THAT(engine.fed, SizeIs(blocks * 160)) << "nothing is dropped";
    for (std::size_t i = 0; i < engine.fed.size(); ++i) {
        ASSERT_EQ(engine.fed[i], static_cast<std::int16_t>(i % 16000)) << "sample " << i;
    }
}

// Several threads log at once; the ring, on its own queue, keeps every line.
TEST(ThreadedCore, LogLinesFromManyThreadsAllReachTheRing) {
    SerialQueue ringQueue("test-log");
    testing::FakeLogOutput output;
    SystemWallClock clock;
    auto service = std::make_shared<LogService>(ringQueue, output, clock);
    const Logger logger(service, LogCategory::transcription);

    std::vector<std::jthread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&logger] {
            for (int i = 0; i < 100; ++i) logger.info("line");
        });
    }
    writers.clear();  // joins
    std::promise<std::vector<std::string>> lines;
    service->readLines([&lines](std::vector<std::string> ring) { lines.set_value(std::move(ring)); });
    EXPECT_THAT(lines.get_future().get(), SizeIs(400));
    EXPECT_EQ(output.count("line"), 400u);
}

}  // namespace
}  // namespace quillon
