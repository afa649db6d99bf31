#include <unistd.h>

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"

namespace quillon {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::ProcessResult;
using testing::ScratchDirectory;

// `quillon transcribe` run as a user runs it: its own process, a home of its own, no display,
// no sound server and no session bus.
class TranscribeCommandTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        media_ = new ScratchDirectory;
        testing::synthesize("please call my mother tomorrow morning", *media_ / "call.wav");
        testing::synthesize("the weather is nice today", *media_ / "weather.wav", "rms");
        testing::make({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10", "-t", "1",
                       "-c:v", "mpeg4", (*media_ / "mute.mp4").string()});
        std::ofstream(*media_ / "report.mp3", std::ios::binary) << "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    }
    static void TearDownTestSuite() { delete media_; }

    TranscribeCommandTest() {
        std::filesystem::create_directories(home_ / "config" / "Quillon");
        std::filesystem::create_directories(home_ / "tmp");
    }

    void setCorrections(const std::string& line) {
        std::ofstream(home_ / "config" / "Quillon" / "Quillon.conf") << "[General]\ntranscriptionCorrections=" << line
                                                                      << "\n";
    }

    ProcessResult run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), QUILLON_TRANSCRIBE_CLI);
        return testing::runProcess(arguments, {{"HOME", home_.path()},
                                               {"XDG_CONFIG_HOME", (home_ / "config").string()},
                                               {"TMPDIR", (home_ / "tmp").string()},
                                               {"LANG", "en_GB.UTF-8"},
                                               {"LC_ALL", ""},
                                               {"LC_MESSAGES", ""},
                                               {"DISPLAY", ""},
                                               {"WAYLAND_DISPLAY", ""},
                                               {"PULSE_SERVER", ""},
                                               {"DBUS_SESSION_BUS_ADDRESS", ""},
                                               {"XDG_RUNTIME_DIR", ""}});
    }

    // What the runs left in the private temporary directory beside the diagnostics file.
    std::vector<std::string> leftovers() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(home_ / "tmp")) {
            if (entry.path().filename() != "Quillon-transcription-diagnostics.log") names.push_back(entry.path().filename());
        }
        return names;
    }

    static std::string path(const std::string& name) { return (*media_ / name).string(); }

    static ScratchDirectory* media_;
    ScratchDirectory home_;
};

ScratchDirectory* TranscribeCommandTest::media_ = nullptr;

TEST_F(TranscribeCommandTest, PrintsTheCorrectedTranscript) {
    setCorrections("my mother -> Mum");
    const auto result = run({path("call.wav")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "please call Mum tomorrow morning\n");
    EXPECT_EQ(result.err, "") << "no progress for a short file, and the log stays quiet";
    EXPECT_TRUE(std::filesystem::exists(home_ / "tmp" / "Quillon-transcription-diagnostics.log"));
}

TEST_F(TranscribeCommandTest, SeveralFilesEachUnderTheirNameAndFailuresDoNotStopTheOthers) {
    const auto result = run({path("call.wav"), path("report.mp3"), "--", path("weather.wav"), path("absent.wav"),
                             path("mute.mp4")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out.substr(0, result.out.find('\n', result.out.find('\n') + 1) + 1),
              "==> " + path("call.wav") + " <==\nplease call my mother tomorrow morning\n");
    EXPECT_THAT(result.out, HasSubstr("\n\n==> " + path("weather.wav") + " <==\n"));
    EXPECT_THAT(result.out, HasSubstr("weather"));
    EXPECT_EQ(result.err, "quillon: " + path("report.mp3") + ": Unsupported file type. Drop an audio or video file.\n" +
                              "quillon: " + path("absent.wav") + ": No such file or directory\n" + "quillon: " +
                              path("mute.mp4") + ": This file does not contain an audio track.\n");
    EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(TranscribeCommandTest, UnreadableFilesAndDirectoriesGiveTheSystemsWords) {
    const auto result = run({home_.path().string()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "quillon: " + home_.path().string() + ": Is a directory\n");
    if (::geteuid() == 0) return;  // root reads every file

    const auto locked = home_ / "locked.wav";
    std::filesystem::copy_file(path("call.wav"), locked);
    std::filesystem::permissions(locked, std::filesystem::perms::none);
    const auto denied = run({locked.string()});
    EXPECT_EQ(denied.exitCode, 1);
    EXPECT_EQ(denied.out, "");
    EXPECT_EQ(denied.err, "quillon: " + locked.string() + ": Permission denied\n");
}

TEST_F(TranscribeCommandTest, UsageErrorsExitWithTwo) {
    EXPECT_EQ(run({}).exitCode, 2);
    const auto unknown = run({"--fast", path("call.wav")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_THAT(unknown.err, HasSubstr("unknown option --fast"));
    const auto help = run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, HasSubstr("Usage: quillon transcribe"));
}

TEST_F(TranscribeCommandTest, UnsupportedLanguageIsReported) {
    auto arguments = std::vector<std::string>{QUILLON_TRANSCRIBE_CLI, path("call.wav")};
    const auto result = testing::runProcess(arguments, {{"LANG", "de_DE.UTF-8"}, {"LC_ALL", ""}, {"LC_MESSAGES", ""},
                                                        {"TMPDIR", (home_ / "tmp").string()}});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "quillon: " + path("call.wav") + ": On-device speech transcription does not support de_DE.\n");
}

// Two hours of audio, decoded and analysed block by block: memory stays near that of a short file
// (the decoded samples alone would take 230 MB), and progress is shown along the way. The audio is
// digital silence so that the test stays quick; the reading path is the same as for speech.
TEST_F(TranscribeCommandTest, HoursLongFileStreamsInBoundedMemoryWithProgress) {
    const auto longFile = home_ / "two-hours.flac";
    testing::make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", longFile.string(), "trim", "0", "7200"});
    const auto shortRun = run({path("call.wav")});
    const auto result = run({longFile.string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "\n");
    EXPECT_THAT(result.err, HasSubstr("Transcribing two-hours.flac: 10%\n"));
    EXPECT_THAT(result.err, HasSubstr("Transcribing two-hours.flac: 100%\n"));
    EXPECT_LT(result.peakMemoryKB, shortRun.peakMemoryKB + 100 * 1024)
        << "short file: " << shortRun.peakMemoryKB << " KB, two hours: " << result.peakMemoryKB << " KB";
}

}  // namespace
}  // namespace quillon
