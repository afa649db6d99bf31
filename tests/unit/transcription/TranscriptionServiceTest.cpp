#include "core/transcription/TranscriptionService.h"

#include <fstream>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SessionHarness.h"
#include "fakes/FakeMediaImport.h"
#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

using ::testing::ElementsAre;
using testing::FakeMediaImport;
using testing::finalResult;
using testing::SessionHarness;
using testing::volatileResult;

class TranscriptionServiceTest : public ::testing::Test {
protected:
    TranscriptionServiceTest() { std::filesystem::create_directories(directory_); }
    ~TranscriptionServiceTest() override { std::filesystem::remove_all(directory_); }

    std::expected<std::string, TranscriptionError> transcribe(const std::filesystem::path& file,
                                                             TranscriptionService::Progress progress = nullptr) {
        std::optional<std::expected<std::string, TranscriptionError>> result;
        service_.transcribe(file, std::move(progress), [&](auto r) { result = std::move(r); });
        h.worker.runUntilIdle();
        EXPECT_TRUE(result) << "the completion must come";
        return result.value_or(std::unexpected(TranscriptionError::unavailable()));
    }

    // The diagnostics records as "message" strings, after checking that each carries one run id.
    std::vector<std::string> records() {
        std::ifstream in(diagnostics_.filePath());
        std::vector<std::string> messages;
        std::set<std::string> runs;
        static const std::regex shape(R"(^\[[0-9T:\-]+Z\] \[([0-9A-F\-]{36})\] (.*)$)");
        for (std::string line; std::getline(in, line);) {
            std::smatch match;
            EXPECT_TRUE(std::regex_match(line, match, shape)) << line;
            runs.insert(match[1]);
            messages.push_back(match[2]);
        }
        EXPECT_LE(runs.size(), 1u);
        return messages;
    }

    SessionHarness h;
    FakeMediaImport media;
    testing::FakeWallClock clock_;
    std::filesystem::path directory_ =
        std::filesystem::temp_directory_path() / ("quillon-service-test-" + Uuid::random().toString());
    TranscriptionDiagnostics diagnostics_{directory_, clock_};
    TranscriptionService service_{h.support, media, diagnostics_, h.worker, h.log.logger(LogCategory::transcription)};
};

TEST_F(TranscriptionServiceTest, JoinsFinalResultsCorrectsTheWholeTextAndQuotesTheDiagnostics) {
    const std::filesystem::path file = "/music/a \"b\"\nc.wav";
    media.files[file].blocks = {{1, 2, 3}, {4, 5}};
    // The correction spans two final results, so it works only on the joined text.
    h.rules.corrections = {{"open ai", "OpenAI"}};
    h.engine.analyzeBatches = {{volatileResult("never kept"), finalResult("  open\n"), finalResult("   ")},
                               {finalResult("ai said"), finalResult(", \"twice\"")}};
    h.engine.finalizeBatch = {volatileResult("nor this"), finalResult("done.")};

    auto text = transcribe(file);
    ASSERT_TRUE(text.has_value()) << text.error().description();
    EXPECT_EQ(*text, "OpenAI said, \"twice\" done.");
    EXPECT_THAT(h.engine.presets, ElementsAre(TranscriberPreset::transcription));
    EXPECT_THAT(h.engine.fed, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(media.opened, ElementsAre(file)) << "an audio file is read in place";
    EXPECT_THAT(media.openedFormats, ElementsAre(AudioFormat{16000.0, 1}));
    EXPECT_THAT(records(), ElementsAre(R"(BEGIN file="/music/a \"b\"\nc.wav")", R"(result="OpenAI said, \"twice\" done.")",
                                       "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::info, "On-device file transcription complete (26 characters)"));
}

TEST_F(TranscriptionServiceTest, ExtractedAudioIsCleanedUpAndProgressFollowsTheAudioRead) {
    auto& movie = media.files["/long.mov"];
    movie.blocks = {std::vector<std::int16_t>(8000), std::vector<std::int16_t>(8000), std::vector<std::int16_t>(16000)};
    movie.needsExtraction = true;
    movie.durationSeconds = 2.0;
    media.files["/stream.wav"].blocks = {{1}};
    std::vector<double> fractions;
    const auto progress = [&](double f, double seconds) {
        fractions.push_back(f);
        EXPECT_EQ(seconds, 2.0);
    };
    ASSERT_TRUE(transcribe("/long.mov", progress).has_value());
    EXPECT_THAT(fractions, ElementsAre(0.25, 0.5, 1.0));
    EXPECT_THAT(media.opened, ElementsAre("/long.mov.m4a"));
    EXPECT_EQ(media.cleanups, 1);

    fractions.clear();
    ASSERT_TRUE(transcribe("/stream.wav", progress).has_value());
    EXPECT_TRUE(fractions.empty()) << "no duration, no progress";
}

struct FileFailure {
    const char* name;
    std::function<void(SessionHarness&, FakeMediaImport::File&)> arrange;
    TranscriptionError error;
    int cleanups;
};

class TranscriptionServiceFailureTest : public TranscriptionServiceTest,
                                        public ::testing::WithParamInterface<FileFailure> {};

TEST_P(TranscriptionServiceFailureTest, EveryBeginHasItsEndAndTheExtractionIsCleanedUp) {
    FakeMediaImport::File file;
    file.blocks = {{1, 2}, {3}};
    file.needsExtraction = true;
    GetParam().arrange(h, file);
    media.files["/in.mkv"] = file;

    auto text = transcribe("/in.mkv");
    ASSERT_FALSE(text.has_value());
    EXPECT_EQ(text.error(), GetParam().error);
    EXPECT_EQ(media.cleanups, GetParam().cleanups);
    EXPECT_EQ(h.engine.analyzersAlive, 0);
    EXPECT_THAT(records(), ElementsAre("BEGIN file=\"/in.mkv\"", "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::error, "On-device file transcription failed: " +
                                                           GetParam().error.description()));
}

using File = FakeMediaImport::File;

INSTANTIATE_TEST_SUITE_P(
    Steps, TranscriptionServiceFailureTest,
    ::testing::Values(
        FileFailure{"noAudioTrack", [](SessionHarness&, File& f) { f.prepareError = TranscriptionError::noAudioTrack(); },
                    TranscriptionError::noAudioTrack(), 0},
        FileFailure{"unopenable", [](SessionHarness&, File& f) { f.openError = TranscriptionError::audioLoadFailed(); },
                    TranscriptionError::audioLoadFailed(), 1},
        FileFailure{"readFails", [](SessionHarness&, File& f) { f.failReadAtBlock = 1; },
                    TranscriptionError::audioLoadFailed(), 1},
        FileFailure{"engineUnavailable", [](SessionHarness& h, File&) { h.engine.available = false; },
                    TranscriptionError::unavailable(), 1},
        FileFailure{"unsupportedLocale", [](SessionHarness& h, File&) { h.locale = "fr_FR"; },
                    TranscriptionError::unsupportedLocale("fr_FR"), 1},
        FileFailure{"analyzerFails",
                    [](SessionHarness& h, File&) {
                        h.engine.analyzeFailure = {1, TranscriptionError::audioConversionUnavailable()};
                    },
                    TranscriptionError::audioConversionUnavailable(), 1},
        FileFailure{"finaliseFails",
                    [](SessionHarness& h, File&) { h.engine.finalizeError = TranscriptionError::unavailable(); },
                    TranscriptionError::unavailable(), 1}),
    [](const ::testing::TestParamInfo<FileFailure>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quillon
