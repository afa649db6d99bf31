#include <unistd.h>

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"

namespace quillon {
namespace {

using ::testing::HasSubstr;
using testing::media;

// `quillon transcribe` run as a user runs it: its own process, a home of its own, no display,
// no sound server and no session bus.
class TranscribeCommandTest : public ::testing::Test {
protected:
    TranscribeCommandTest() {
        std::filesystem::create_directories(home_ / "config" / "Quillon");
        std::filesystem::create_directories(home_ / "tmp");
    }

    testing::ProcessResult run(std::vector<std::string> arguments, const std::string& lang = "en_GB.UTF-8") {
        arguments.insert(arguments.begin(), QUILLON_TRANSCRIBE_CLI);
        return testing::runProcess(arguments, {{"HOME", home_.path()},
                                               {"XDG_CONFIG_HOME", (home_ / "config").string()},
                                               {"TMPDIR", (home_ / "tmp").string()},
                                               {"LANG", lang},
                                               {"LC_ALL", ""},
                                               {"LC_MESSAGES", ""},
                                               {"DISPLAY", ""},
                                               {"WAYLAND_DISPLAY", ""},
                                               {"PULSE_SERVER", ""},
                                               {"DBUS_SESSION_BUS_ADDRESS", ""},
                                               {"XDG_RUNTIME_DIR", ""}});
    }

    static std::string path(const std::string& name) { return media(name).string(); }

    // Where the command keeps its temporary files without a runtime folder: a private folder of the
    // user's own under TMPDIR.
    std::filesystem::path privateFolder() const { return home_ / "tmp" / ("quillon-" + std::to_string(::geteuid())); }

    testing::ScratchDirectory home_;
};

TEST_F(TranscribeCommandTest, PrintsTheCorrectedTranscript) {
    std::ofstream(home_ / "config" / "Quillon" / "Quillon.conf") << "[General]\ntranscriptionCorrections=my mother -> Mum\n";
    const auto result = run({path("call.wav")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "please call Mum tomorrow morning\n");
    EXPECT_EQ(result.err, "") << "no progress for a short file, and the log stays quiet";
    using std::filesystem::perms;
    const auto diagnostics = privateFolder() / "Quillon-transcription-diagnostics.log";
    ASSERT_TRUE(std::filesystem::exists(diagnostics));
    EXPECT_EQ(std::filesystem::status(diagnostics).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(privateFolder()).permissions(), perms::owner_all);
}

TEST_F(TranscribeCommandTest, SeveralFilesEachUnderTheirNameAndFailuresDoNotStopTheOthers) {
    const auto pdf = home_ / "report.mp3";
    std::ofstream(pdf) << "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    const auto locked = home_ / "locked.wav";
    std::filesystem::copy_file(path("call.wav"), locked);
    std::filesystem::permissions(locked, std::filesystem::perms::none);
    const bool root = ::geteuid() == 0;  // root reads every file

    const auto result = run({path("call.wav"), pdf, "--", path("weather.wav"), path("absent.wav"), path("mute.mp4"),
                             home_.path(), root ? path("absent.wav") : locked.string()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.starts_with("==> " + path("call.wav") + " <==\nplease call my mother tomorrow morning\n\n"))
        << result.out;
    const std::string weather = "\n\n==> " + path("weather.wav") + " <==\n";
    ASSERT_THAT(result.out, HasSubstr(weather));
    EXPECT_THAT(result.out.substr(result.out.find(weather) + weather.size()), HasSubstr("weather"));
    EXPECT_EQ(result.err, "quillon: " + pdf.string() + ": Unsupported file type. Drop an audio or video file.\n" +
                              "quillon: " + path("absent.wav") + ": No such file or directory\n" +
                              "quillon: " + path("mute.mp4") + ": This file does not contain an audio track.\n" +
                              "quillon: " + home_.path().string() + ": Is a directory\n" +
                              (root ? "quillon: " + path("absent.wav") + ": No such file or directory\n"
                                    : "quillon: " + locked.string() + ": Permission denied\n"));
    EXPECT_THAT(testing::ScratchDirectory::entriesOf(home_ / "tmp"), ::testing::ElementsAre(privateFolder().filename()));
    EXPECT_THAT(testing::ScratchDirectory::entriesOf(privateFolder()),
                ::testing::ElementsAre("Quillon-transcription-diagnostics.log"))
        << "no extracted audio is left behind";
}

TEST_F(TranscribeCommandTest, UsageAndLanguageErrors) {
    EXPECT_EQ(run({}).exitCode, 2);
    const auto unknown = run({"--fast", path("call.wav")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_THAT(unknown.err, HasSubstr("unknown option --fast"));
    const auto help = run({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, HasSubstr("Usage: quillon transcribe"));
    const auto german = run({path("call.wav")}, "de_DE.UTF-8");
    EXPECT_EQ(german.exitCode, 1);
    EXPECT_EQ(german.err, "quillon: " + path("call.wav") + ": On-device speech transcription does not support de_DE.\n");
}

// An hour of audio, decoded and analysed block by block: memory stays near that of a short file
// (the decoded samples alone would take 115 MB), and progress is shown along the way. The audio is
// digital silence so that the test stays quick; the reading path is the same as for speech.
TEST_F(TranscribeCommandTest, HourLongFileStreamsInBoundedMemoryWithProgress) {
    const auto longFile = home_ / "an-hour.flac";
    testing::make({"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", longFile.string(), "trim", "0", "3600"});
    const auto shortRun = run({path("call.wav")});
    const auto result = run({longFile.string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "\n");
    EXPECT_THAT(result.err, HasSubstr("Transcribing an-hour.flac: 10%\n"));
    EXPECT_THAT(result.err, HasSubstr("Transcribing an-hour.flac: 100%\n"));
    EXPECT_LT(result.peakMemoryKB, shortRun.peakMemoryKB + 50 * 1024)
        << "short file: " << shortRun.peakMemoryKB << " KB, an hour: " << result.peakMemoryKB << " KB";
}

}  // namespace
}  // namespace quillon
