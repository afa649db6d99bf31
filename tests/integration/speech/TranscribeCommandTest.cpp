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

// Every kind of file a user may give, typed by its content: each gives its text under its name or
// the system's error, the others go on, and no extracted audio is left behind.
TEST_F(TranscribeCommandTest, SeveralFilesEachUnderTheirNameAndFailuresDoNotStopTheOthers) {
    const auto call = testing::readFile(media("call.wav"));
    const auto pdf = home_ / "report.mp3";
    std::ofstream(pdf) << "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    std::ofstream(home_ / "zero.mp3").flush();
    std::ofstream(home_ / "call.txt", std::ios::binary) << call;
    std::ofstream(home_ / "truncated.wav", std::ios::binary) << call.substr(0, call.size() * 3 / 5);
    const auto locked = home_ / "locked.wav";
    std::filesystem::copy_file(path("call.wav"), locked);
    std::filesystem::permissions(locked, std::filesystem::perms::none);
    const bool root = ::geteuid() == 0;  // root reads every file

    const auto result =
        run({path("call.wav"), pdf, (home_ / "zero.mp3").string(), "--", path("weather.wav"),
             path("absent.wav"), path("mute.mp4"), home_.path(), root ? path("absent.wav") : locked.string(),
             path("silence.wav"), (home_ / "truncated.wav").string(), (home_ / "call.txt").string(),
             path("call.m4a"), path("call.mov")});
    EXPECT_EQ(result.exitCode, 1);
    const auto under = [](const std::string& name) { return "\n\n==> " + name + " <==\n"; };
    const std::string said = "please call my mother tomorrow morning\n";
    EXPECT_TRUE(result.out.starts_with("==> " + path("call.wav") + " <==\n" + said)) << result.out;
    for (const auto& [name, text] :
         std::vector<std::pair<std::string, std::string>>{{path("silence.wav"), "\n"},
                                                          {(home_ / "truncated.wav").string(), "please call"},
                                                          {(home_ / "call.txt").string(), said},
                                                          {path("call.m4a"), said},
                                                          {path("call.mov"), said}}) {
        EXPECT_THAT(result.out, HasSubstr(under(name) + text)) << name;
    }
    const std::string weather = under(path("weather.wav"));
    ASSERT_THAT(result.out, HasSubstr(weather));
    EXPECT_THAT(result.out.substr(result.out.find(weather) + weather.size()), HasSubstr("weather"));
    std::string refusals;
    for (const auto& [name, why] : std::vector<std::pair<std::string, std::string>>{
             {pdf, "Unsupported file type. Drop an audio or video file."},
             {(home_ / "zero.mp3").string(), "Failed to prepare audio for transcription."},
             {path("absent.wav"), "No such file or directory"},
             {path("mute.mp4"), "This file does not contain an audio track."},
             {home_.path(), "Is a directory"},
             {root ? path("absent.wav") : locked.string(),
              root ? "No such file or directory" : "Permission denied"}}) {
        refusals += "quillon: " + name + ": " + why + "\n";
    }
    EXPECT_EQ(result.err, refusals);
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

// One file: its corrected text alone on standard output, the diagnostics in the user's private
// folder. Then an hour of audio, decoded and analysed block by block: memory stays near that of
// the short file (the decoded samples alone would take 115 MB), and progress is shown along the
// way. The audio is digital silence so that the test stays quick; the reading path is the same as
// for speech.
TEST_F(TranscribeCommandTest, OneFilePrintsItsCorrectedTextAndAnHourLongOneStreamsInBoundedMemory) {
    std::ofstream(home_ / "config" / "Quillon" / "Quillon.conf")
        << "[General]\ntranscriptionCorrections=my mother -> Mum\n";
    const auto shortRun = run({path("call.wav")});
    EXPECT_EQ(shortRun.exitCode, 0) << shortRun.err;
    EXPECT_EQ(shortRun.out, "please call Mum tomorrow morning\n");
    EXPECT_EQ(shortRun.err, "") << "no progress for a short file, and the log stays quiet";
    using std::filesystem::perms;
    const auto diagnostics = privateFolder() / "Quillon-transcription-diagnostics.log";
    ASSERT_TRUE(std::filesystem::exists(diagnostics));
    EXPECT_EQ(std::filesystem::status(diagnostics).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(privateFolder()).permissions(), perms::owner_all);

    const auto longFile = home_ / "an-hour.flac";
    testing::make(
        {"sox", "-n", "-r", "16000", "-c", "1", "-b", "16", longFile.string(), "trim", "0", "3600"});
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
