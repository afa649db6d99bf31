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
    TranscriptionServiceTest() {
        directory_ = std::filesystem::temp_directory_path() /
                     ("quillon-service-test-" + Uuid::random().toString());
        std::filesystem::create_directories(directory_);
        diagnostics_.emplace(directory_, clock_);
        service_.emplace(h.support, media, *diagnostics_, h.worker, h.log.logger(LogCategory::transcription));
    }
    ~TranscriptionServiceTest() override { std::filesystem::remove_all(directory_); }

    std::expected<std::string, TranscriptionError> transcribe(const std::filesystem::path& file,
                                                             TranscriptionService::Progress progress = nullptr) {
        std::optional<std::expected<std::string, TranscriptionError>> result;
        service_->transcribe(file, std::move(progress), [&](auto r) { result = std::move(r); });
        h.worker.runUntilIdle();
        EXPECT_TRUE(result) << "the completion must come";
        return result.value_or(std::unexpected(TranscriptionError::unavailable()));
    }

    // The diagnostics records as "message" strings, after checking that each carries one run id.
    std::vector<std::string> records() {
        std::ifstream in(diagnostics_->filePath());
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

    static FakeMediaImport::File speech(std::vector<std::vector<std::int16_t>> blocks) {
        FakeMediaImport::File file;
        file.blocks = std::move(blocks);
        return file;
    }

    SessionHarness h;
    FakeMediaImport media;
    testing::FakeWallClock clock_;
    std::filesystem::path directory_;
    std::optional<TranscriptionDiagnostics> diagnostics_;
    std::optional<TranscriptionService> service_;
};

TEST_F(TranscriptionServiceTest, JoinsFinalResultsAndCorrectsTheWholeText) {
    media.add("/music/talk.wav", speech({{1, 2, 3}, {4, 5}}));
    // The correction spans two final results, so it works only on the joined text.
    h.rules.setCorrections({{"open ai", "OpenAI"}});
    h.engine.scriptAnalyze({volatileResult("never kept"), finalResult("  open\n"), finalResult("   ")});
    h.engine.scriptAnalyze({finalResult("ai said"), finalResult(", twice")});
    h.engine.scriptFinalize({volatileResult("nor this"), finalResult("done.")});

    auto text = transcribe("/music/talk.wav");
    ASSERT_TRUE(text.has_value()) << text.error().description();
    EXPECT_EQ(*text, "OpenAI said, twice done.");

    const auto record = h.engine.record();
    EXPECT_THAT(record.presets, ElementsAre(TranscriberPreset::transcription));
    EXPECT_THAT(record.fedSamples, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(record.finalizeCalls, 1);
    EXPECT_THAT(media.openedPaths(), ElementsAre("/music/talk.wav")) << "a direct file is read in place";
    EXPECT_THAT(media.openedFormats(), ElementsAre(AudioFormat{16000.0, 1}));
    EXPECT_THAT(records(), ElementsAre("BEGIN file=\"/music/talk.wav\"", "result=\"OpenAI said, twice done.\"", "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::info, "On-device file transcription complete (24 characters)"));
}

TEST_F(TranscriptionServiceTest, SilenceGivesAnEmptyTextNotAnError) {
    media.add("/silence.wav", speech({}));
    auto text = transcribe("/silence.wav");
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(*text, "");
    EXPECT_EQ(h.engine.record().cancelCalls, 1) << "nothing reached the analyzer, so nothing is finalised";
    EXPECT_EQ(h.engine.record().finalizeCalls, 0);
    EXPECT_THAT(records(), ElementsAre("BEGIN file=\"/silence.wav\"", "result=\"\"", "END"));
}

TEST_F(TranscriptionServiceTest, ExtractedAudioIsCleanedUpOnceOnSuccessAndOnFailure) {
    auto video = speech({{1}, {2}});
    video.needsExtraction = true;
    media.add("/clip.mov", video);
    h.engine.scriptFinalize({finalResult("hi")});
    ASSERT_TRUE(transcribe("/clip.mov").has_value());
    EXPECT_THAT(media.openedPaths(), ElementsAre("/clip.mov.extracted.m4a"));
    EXPECT_EQ(media.cleanups(), 1);

    video.failReadAtBlock = 1;
    media.add("/broken.mov", video);
    auto failed = transcribe("/broken.mov");
    ASSERT_FALSE(failed.has_value());
    EXPECT_EQ(failed.error(), TranscriptionError::audioLoadFailed());
    EXPECT_EQ(media.cleanups(), 2);
    EXPECT_GE(h.engine.record().cancelCalls, 1);
}

struct FileFailure {
    const char* name;
    std::function<void(SessionHarness&, FakeMediaImport::File&)> arrange;
    TranscriptionError error;
    int cleanups;
};

class TranscriptionServiceFailureTest : public TranscriptionServiceTest,
                                        public ::testing::WithParamInterface<FileFailure> {};

TEST_P(TranscriptionServiceFailureTest, EveryBeginHasItsEndAndNoResult) {
    FakeMediaImport::File file = speech({{1, 2}, {3}});
    file.needsExtraction = true;
    GetParam().arrange(h, file);
    media.add("/in.mkv", file);

    auto text = transcribe("/in.mkv");
    ASSERT_FALSE(text.has_value());
    EXPECT_EQ(text.error(), GetParam().error);
    EXPECT_EQ(media.cleanups(), GetParam().cleanups);
    EXPECT_THAT(records(), ElementsAre("BEGIN file=\"/in.mkv\"", "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::error, "On-device file transcription failed: " +
                                                           GetParam().error.description()));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, TranscriptionServiceFailureTest,
    ::testing::Values(
        FileFailure{"noAudioTrack",
                    [](SessionHarness&, FakeMediaImport::File& f) { f.prepareError = TranscriptionError::noAudioTrack(); },
                    TranscriptionError::noAudioTrack(), 0},
        FileFailure{"unreadable",
                    [](SessionHarness&, FakeMediaImport::File& f) { f.openError = TranscriptionError::audioLoadFailed(); },
                    TranscriptionError::audioLoadFailed(), 1},
        FileFailure{"engineUnavailable", [](SessionHarness& h, FakeMediaImport::File&) { h.engine.available = false; },
                    TranscriptionError::unavailable(), 1},
        FileFailure{"unsupportedLocale", [](SessionHarness& h, FakeMediaImport::File&) { h.locale = "fr_FR"; },
                    TranscriptionError::unsupportedLocale("fr_FR"), 1},
        FileFailure{"analyzerFails",
                    [](SessionHarness& h, FakeMediaImport::File&) {
                        h.engine.failAnalyzeCall(1, TranscriptionError::audioConversionUnavailable());
                    },
                    TranscriptionError::audioConversionUnavailable(), 1},
        FileFailure{"finaliseFails",
                    [](SessionHarness& h, FakeMediaImport::File&) {
                        h.engine.finalizeError = TranscriptionError::unavailable();
                    },
                    TranscriptionError::unavailable(), 1}),
    [](const ::testing::TestParamInfo<FileFailure>& param) { return std::string(param.param.name); });

TEST_F(TranscriptionServiceTest, ProgressFollowsTheAudioReadWhenTheDurationIsKnown) {
    auto file = speech({std::vector<std::int16_t>(8000), std::vector<std::int16_t>(8000),
                        std::vector<std::int16_t>(16000)});
    file.durationSeconds = 2.0;
    media.add("/long.wav", file);
    std::vector<double> fractions;
    ASSERT_TRUE(transcribe("/long.wav", [&](double f, double seconds) {
        fractions.push_back(f);
        EXPECT_EQ(seconds, 2.0);
    }).has_value());
    EXPECT_THAT(fractions, ElementsAre(0.25, 0.5, 1.0));

    media.add("/stream.wav", speech({{1}}));
    fractions.clear();
    ASSERT_TRUE(transcribe("/stream.wav", [&](double f, double seconds) {
        fractions.push_back(f);
        EXPECT_EQ(seconds, 2.0);
    }).has_value());
    EXPECT_TRUE(fractions.empty()) << "no duration, no progress";
}

TEST_F(TranscriptionServiceTest, DiagnosticsQuoteAwkwardPathsAndTextsOnOneLine) {
    media.add("/tmp/a \"b\"\nc.wav", speech({{1}}));
    h.engine.scriptFinalize({finalResult("say \"hi\"")});
    ASSERT_TRUE(transcribe("/tmp/a \"b\"\nc.wav").has_value());
    EXPECT_THAT(records(), ElementsAre(R"(BEGIN file="/tmp/a \"b\"\nc.wav")", R"(result="say \"hi\"")", "END"));
}

}  // namespace
}  // namespace quillon
