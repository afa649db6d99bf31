#include "core/transcription/TranscriptionService.h"

#include <set>
#include <sstream>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SessionHarness.h"
#include "fakes/FakeBackgroundJobs.h"
#include "fakes/FakeMediaImport.h"
#include "fakes/FakeTemporaryFiles.h"
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
    std::expected<std::string, TranscriptionError> transcribe(const std::filesystem::path& file) {
        std::optional<std::expected<std::string, TranscriptionError>> result;
        service_.transcribe(file, nullptr, [&](auto r) { result = std::move(r); });
        jobs_.runAll();
        EXPECT_TRUE(result) << "the completion must come";
        return result.value_or(std::unexpected(TranscriptionError::unavailable()));
    }

    // The diagnostics records as "message" strings, after checking that each carries one run id.
    std::vector<std::string> records() {
        std::istringstream in(files_.content(std::string(TranscriptionDiagnostics::fileName)));
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
    testing::FakeTemporaryFiles files_;
    testing::FakeBackgroundJobs jobs_;
    TranscriptionDiagnostics diagnostics_{files_, clock_};
    TranscriptionService service_{h.support, media, diagnostics_, jobs_, h.log.logger(LogCategory::transcription)};
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
    for (const auto& entry : h.log.output.entries()) {
        EXPECT_EQ(entry.message.find("said"), std::string::npos) << "no transcript text in the log: " << entry.message;
    }
}

TEST_F(TranscriptionServiceTest, EachFileIsAJobOfItsOwn) {
    media.files["/a.wav"].blocks = {{1}};
    media.files["/b.wav"].blocks = {{2}};
    std::vector<std::string> done;
    service_.transcribe("/a.wav", [&](auto text) { done.push_back("a:" + text.value_or("failed")); });
    service_.transcribe("/b.wav", [&](auto text) { done.push_back("b:" + text.value_or("failed")); });
    EXPECT_EQ(jobs_.jobs.size(), 2u) << "the second file does not wait for the first";
    jobs_.runAll();
    EXPECT_THAT(done, ElementsAre("b:", "a:"));
}

struct FileFailure {
    const char* name;
    std::function<void(SessionHarness&, FakeMediaImport::File&)> arrange;
    TranscriptionError error;
    int cleanups;
    bool beforeRecogniser = false;  // the file fails before any recogniser is made
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
    if (GetParam().beforeRecogniser) {
        EXPECT_TRUE(h.engine.presets.empty()) << "the file is opened first";
    }
    EXPECT_THAT(records(), ElementsAre("BEGIN file=\"/in.mkv\"", "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::error, "On-device file transcription failed: " +
                                                           GetParam().error.description()));
}

using File = FakeMediaImport::File;

INSTANTIATE_TEST_SUITE_P(
    Steps, TranscriptionServiceFailureTest,
    ::testing::Values(
        FileFailure{"missing",
                    [](SessionHarness&, File& f) {
                        f.prepareError = TranscriptionError::unreadableFile("No such file or directory");
                    },
                    TranscriptionError::unreadableFile("No such file or directory"), 0, true},
        FileFailure{"readFails", [](SessionHarness&, File& f) { f.failReadAtBlock = 1; },
                    TranscriptionError::audioLoadFailed(), 1},
        // A recogniser failure, whichever step it is (the session's own tests go through them).
        FileFailure{"finaliseFails",
                    [](SessionHarness& h, File&) { h.engine.finalizeError = TranscriptionError::unavailable(); },
                    TranscriptionError::unavailable(), 1}),
    [](const ::testing::TestParamInfo<FileFailure>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quillon
