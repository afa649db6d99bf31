#include <fstream>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
#include "core/transcription/TranscriptionService.h"
#include "fakes/FakeWallClock.h"
#include "platform/linux/base/BackgroundJobsThreads.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/media/MediaImportFFmpeg.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::media;

constexpr const char* diagnosticsName = "Quillon-transcription-diagnostics.log";

// File transcription with every real part: FFmpeg, shared-mime-info, PocketSphinx, the text rules
// and the diagnostics file, all temporary files in a private directory.
class FileTranscriptionTest : public ::testing::Test {
protected:
    std::expected<std::string, TranscriptionError> transcribe(const std::filesystem::path& file) {
        std::promise<std::expected<std::string, TranscriptionError>> done;
        auto result = done.get_future();
        service_.transcribe(file, [&](auto text) { done.set_value(std::move(text)); });
        if (result.wait_for(300s) == std::future_status::ready) return result.get();
        ADD_FAILURE() << "the transcription never finished";
        return std::unexpected(TranscriptionError::unavailable());
    }

    testing::ScratchDirectory temporary_;
    testing::SpeechWorld world_;
    testing::FakeWallClock clock_;
    TemporaryFilesPosix files_{temporary_.path().string(), temporary_.path(), world_.log.logger(LogCategory::transcription)};
    MediaImportFFmpeg mediaImport_{files_, world_.log.logger(LogCategory::transcription)};
    TranscriptionDiagnostics diagnostics_{files_, clock_};
    TranscriptionService service_{world_.support, mediaImport_, diagnostics_, jobs_,
                                  world_.log.logger(LogCategory::transcription)};
    BackgroundJobsThreads jobs_;  // declared last: its jobs end before the service goes
};

// Every kind of file a user may drop: what the content says it is, and what comes of it. A missing
// file, a folder and a video without sound are the command line's cases (TranscribeCommandTest).
TEST_F(FileTranscriptionTest, FilesAreTypedByContentAndGiveTheirTextOrTheSystemsErrorLeavingNothingBehind) {
    world_.setCorrections("tomorrow morning -> tomorrow at nine");
    testing::ScratchDirectory dropped;
    const auto call = testing::readFile(media("call.wav"));
    std::ofstream(dropped / "zero.mp3").flush();
    std::ofstream(dropped / "report.mp3") << "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    std::ofstream(dropped / "call.txt", std::ios::binary) << call;
    std::ofstream(dropped / "truncated.wav", std::ios::binary) << call.substr(0, call.size() * 3 / 5);

    struct Case {
        std::filesystem::path file;
        bool supported;
        std::optional<TranscriptionError> error;
        const char* text = "";  // a regular expression, for a transcript
    };
    const auto loadFailed = TranscriptionError::audioLoadFailed();
    const std::vector<Case> cases{
        {dropped / "zero.mp3", true, loadFailed},
        {dropped / "report.mp3", false, loadFailed},
        {media("silence.wav"), true, std::nullopt, "^$"},
        {dropped / "truncated.wav", true, std::nullopt, "^please call"},
        {dropped / "call.txt", true, std::nullopt, "^please call my mother tomorrow at nine$"},
        {media("call.m4a"), true, std::nullopt, "^please call my mother tomorrow at nine$"},
        {media("call.mov"), true, std::nullopt, "^please call my mother tomorrow at nine$"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(service_.isSupportedMediaURL(c.file), c.supported) << c.file;
        auto text = transcribe(c.file);
        if (c.error) {
            EXPECT_EQ(text, std::unexpected(*c.error)) << c.file << ": " << (text ? *text : text.error().description());
        } else {
            ASSERT_TRUE(text.has_value()) << c.file << ": " << text.error().description();
            EXPECT_THAT(*text, ContainsRegex(c.text)) << c.file;
        }
    }

    const auto extracting = "Extracting the audio track from imported media: ";
    EXPECT_FALSE(world_.log.output.contains(LogLevel::info, extracting + media("call.m4a").string()));
    EXPECT_TRUE(world_.log.output.contains(LogLevel::info, extracting + media("call.mov").string()));
    std::vector<std::string> records;
    std::ifstream in(temporary_ / "quillon" / diagnosticsName);
    for (std::string line; std::getline(in, line);) records.push_back(line.substr(line.find("] ", line.find("] ") + 2) + 2));
    EXPECT_EQ(std::ranges::count(records, "BEGIN file=\"" + media("silence.wav").string() + "\""), 1);
    EXPECT_EQ(std::ranges::count(records, std::string("result=\"\"")), 1) << "silence is an empty transcript";
    EXPECT_EQ(std::ranges::count(records, std::string("END")), std::ssize(cases));
    EXPECT_THAT(testing::ScratchDirectory::entriesOf(temporary_ / "quillon"), ElementsAre(diagnosticsName))
        << "no extracted audio is left behind";
}

}  // namespace
}  // namespace quillon
