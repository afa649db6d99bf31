#include <fstream>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
#include "core/transcription/TranscriptionService.h"
#include "fakes/FakeWallClock.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/media/MediaImportFFmpeg.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::ScratchDirectory;

constexpr const char* recordings = "/usr/share/pocketsphinx/test/data/librivox/";
constexpr const char* diagnosticsName = "Quillon-transcription-diagnostics.log";

// File transcription with every real part: FFmpeg, shared-mime-info, PocketSphinx, the text rules
// and the diagnostics file, all temporary files in a private directory.
class FileTranscriptionTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        media_ = new ScratchDirectory;
        const auto call = *media_ / "call.wav";
        testing::synthesize("please call my mother tomorrow morning", call);
        testing::make({"ffmpeg", "-v", "error", "-i", call.string(), "-c:a", "aac", (*media_ / "call.m4a").string()});
        testing::make({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-i", call.string(),
                       "-shortest", "-c:v", "mpeg4", "-c:a", "pcm_s16le", (*media_ / "call.mov").string()});
        testing::make({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-t", "2",
                       "-c:v", "mpeg4", (*media_ / "mute.mp4").string()});
        testing::make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", (*media_ / "silence.wav").string(), "trim",
                       "0", "3"});
    }
    static void TearDownTestSuite() { delete media_; }

    std::expected<std::string, TranscriptionError> transcribe(const std::filesystem::path& file) {
        std::promise<std::expected<std::string, TranscriptionError>> done;
        auto result = done.get_future();
        service_.transcribe(file, [&](auto text) { done.set_value(std::move(text)); });
        if (result.wait_for(300s) != std::future_status::ready) {
            ADD_FAILURE() << "the transcription never finished";
            return std::unexpected(TranscriptionError::unavailable());
        }
        return result.get();
    }

    // Diagnostics messages, without time stamps and run identifiers.
    std::vector<std::string> diagnostics() const {
        std::vector<std::string> messages;
        std::ifstream in(temporary_ / diagnosticsName);
        for (std::string line; std::getline(in, line);) {
            const auto second = line.find("] ", line.find("] ") + 2);
            messages.push_back(line.substr(second + 2));
        }
        return messages;
    }

    // Whatever the runs left in the temporary directory beside the diagnostics file.
    std::vector<std::string> leftovers() const {
        auto names = temporary_.entries();
        std::erase(names, diagnosticsName);
        return names;
    }

    static ScratchDirectory* media_;
    ScratchDirectory temporary_;
    testing::SpeechWorld world_;
    testing::FakeWallClock clock_;
    MediaImportFFmpeg mediaImport_{temporary_.path(), world_.log.logger(LogCategory::transcription)};
    TranscriptionDiagnostics diagnostics_{temporary_.path(), clock_};
    SerialQueue worker_{"file-transcription-test"};
    TranscriptionService service_{world_.support, mediaImport_, diagnostics_, worker_,
                                  world_.log.logger(LogCategory::transcription)};
};

ScratchDirectory* FileTranscriptionTest::media_ = nullptr;

TEST_F(FileTranscriptionTest, DebianRecordingsAreTranscribed) {
    auto first = transcribe(std::string(recordings) + "sense_and_sensibility_01_austen_64kb-0880.wav");
    ASSERT_TRUE(first.has_value()) << first.error().description();
    EXPECT_THAT(*first, HasSubstr("he was not"));
    EXPECT_THAT(*first, HasSubstr("young man"));
    auto second = transcribe(std::string(recordings) + "sense_and_sensibility_01_austen_64kb-0890.wav");
    ASSERT_TRUE(second.has_value());
    EXPECT_THAT(*second, HasSubstr("rather cold hearted and rather selfish"));
}

TEST_F(FileTranscriptionTest, AudioFilesAreReadInPlaceAndCorrectedOnce) {
    world_.setCorrections("tomorrow morning -> tomorrow at nine");
    for (const char* name : {"call.wav", "call.m4a"}) {
        auto text = transcribe(*media_ / name);
        ASSERT_TRUE(text.has_value()) << name << ": " << text.error().description();
        EXPECT_EQ(*text, "please call my mother tomorrow at nine") << name;
    }
    EXPECT_FALSE(world_.log.output.contains(LogLevel::info, "Extracting the audio track from imported media: " +
                                                                (*media_ / "call.m4a").string()));
    EXPECT_TRUE(world_.log.output.contains(LogLevel::info, "On-device file transcription complete (38 characters)"));
    EXPECT_THAT(leftovers(), ::testing::IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(*media_ / "call.m4a")) << "the source is never touched";
}

TEST_F(FileTranscriptionTest, AVideosSoundIsExtractedToATemporaryFileThatIsDeletedAfterwards) {
    auto text = transcribe(*media_ / "call.mov");
    ASSERT_TRUE(text.has_value()) << text.error().description();
    EXPECT_EQ(*text, "please call my mother tomorrow morning");
    EXPECT_TRUE(world_.log.output.contains(LogLevel::info, "Extracting the audio track from imported media: " +
                                                               (*media_ / "call.mov").string()));
    EXPECT_THAT(leftovers(), ::testing::IsEmpty());
}

TEST_F(FileTranscriptionTest, SilenceIsAnEmptyTranscriptWithItsDiagnostics) {
    auto text = transcribe(*media_ / "silence.wav");
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(*text, "");
    EXPECT_THAT(diagnostics(), ElementsAre("BEGIN file=\"" + (*media_ / "silence.wav").string() + "\"", "result=\"\"",
                                           "END"));
}

TEST_F(FileTranscriptionTest, BadFilesGiveTheSystemsErrorsAndLeaveNothingBehind) {
    ScratchDirectory bad;
    const auto call = testing::readFile(*media_ / "call.wav");
    std::ofstream(bad / "empty.wav").flush();
    std::ofstream(bad / "noise.wav", std::ios::binary) << std::string(4096, '\x5a');
    std::ofstream(bad / "header-only.wav", std::ios::binary) << call.substr(0, 44);
    std::ofstream(bad / "truncated.wav", std::ios::binary) << call.substr(0, call.size() * 3 / 5);

    struct Case {
        std::filesystem::path file;
        std::optional<TranscriptionError> error;  // absent: a transcript, maybe partial
    };
    const std::vector<Case> cases{
        {bad / "missing.wav", TranscriptionError::audioLoadFailed()},
        {bad / "empty.wav", TranscriptionError::audioLoadFailed()},
        {bad / "noise.wav", TranscriptionError::audioLoadFailed()},
        {*media_ / "mute.mp4", TranscriptionError::noAudioTrack()},
        {bad / "header-only.wav", std::nullopt},
        {bad / "truncated.wav", std::nullopt},
    };
    for (const auto& c : cases) {
        auto text = transcribe(c.file);
        if (c.error) {
            ASSERT_FALSE(text.has_value()) << c.file << " gave " << *text;
            EXPECT_EQ(text.error(), *c.error) << c.file << ": " << text.error().description();
        } else {
            ASSERT_TRUE(text.has_value()) << c.file << ": " << text.error().description();
        }
    }
    auto truncated = transcribe(bad / "truncated.wav");
    EXPECT_THAT(*truncated, HasSubstr("please call")) << "the audio before the cut is kept";

    const auto records = diagnostics();
    EXPECT_EQ(std::ranges::count_if(records, [](const auto& r) { return r.starts_with("BEGIN file="); }), 7);
    EXPECT_EQ(std::ranges::count(records, std::string("END")), 7);
    EXPECT_THAT(leftovers(), ::testing::IsEmpty());
}

TEST_F(FileTranscriptionTest, MediaTypesComeFromTheContentFirst) {
    ScratchDirectory typed;
    const auto call = testing::readFile(*media_ / "call.wav");
    std::ofstream(typed / "report.mp3", std::ios::binary) << "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    std::ofstream(typed / "speech.txt", std::ios::binary) << call;
    std::ofstream(typed / "speech", std::ios::binary) << call;
    std::ofstream(typed / "unknown.ogg", std::ios::binary) << std::string("\x00\x9f\x13\x77\xe1\x04\xc8\x5d\x00\x01", 10);
    std::ofstream(typed / "notes.txt") << "hello";
    std::ofstream(typed / "zero.mp3").flush();

    EXPECT_FALSE(service_.isSupportedMediaURL(typed / "report.mp3")) << "a PDF named .mp3";
    EXPECT_TRUE(service_.isSupportedMediaURL(typed / "speech.txt")) << "a WAV named .txt";
    EXPECT_TRUE(service_.isSupportedMediaURL(typed / "speech")) << "a WAV without extension";
    EXPECT_TRUE(service_.isSupportedMediaURL(typed / "unknown.ogg")) << "content says nothing, the name decides";
    EXPECT_TRUE(service_.isSupportedMediaURL(typed / "zero.mp3"));
    EXPECT_FALSE(service_.isSupportedMediaURL(typed / "notes.txt"));
    EXPECT_FALSE(service_.isSupportedMediaURL(typed / "absent.wav"));
    EXPECT_FALSE(service_.isSupportedMediaURL(typed.path()));
    EXPECT_TRUE(service_.isSupportedMediaURL(*media_ / "call.mov"));
    EXPECT_TRUE(service_.isSupportedMediaURL(*media_ / "mute.mp4"));
    EXPECT_TRUE(service_.isSupportedMediaURL(*media_ / "call.m4a"));
}

}  // namespace
}  // namespace quillon
