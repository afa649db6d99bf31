#include "core/transcription/TranscriptionService.h"

#include <sstream>

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

    std::optional<std::expected<std::string, TranscriptionError>> text;
    service_.transcribe(file, nullptr, [&](auto result) { text = std::move(result); });
    jobs_.runAll();
    EXPECT_EQ(text, "OpenAI said, \"twice\" done.");
    EXPECT_THAT(h.engine.fed, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(media.opened, ElementsAre(file)) << "an audio file is read in place";
    std::istringstream diagnostics(files_.content(std::string(TranscriptionDiagnostics::fileName)));
    std::vector<std::string> records;  // without their time and run
    for (std::string line; std::getline(diagnostics, line);)
        records.push_back(line.substr(line.find("] [") + 41));
    EXPECT_THAT(records, ElementsAre(R"(BEGIN file="/music/a \"b\"\nc.wav")",
                                     R"(result="OpenAI said, \"twice\" done.")", "END"));
    EXPECT_TRUE(h.log.output.contains(LogLevel::info, "On-device file transcription complete (26 characters)"));
    for (const auto& entry : h.log.output.entries()) {
        EXPECT_EQ(entry.message.find("said"), std::string::npos) << "no transcript text in the log: " << entry.message;
    }
}

}  // namespace
}  // namespace quillon
