#include "core/transcription/TranscriptionDiagnostics.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

std::string contents(const fs::path& file) {
    std::stringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

class TranscriptionDiagnosticsTest : public ::testing::Test {
protected:
    TranscriptionDiagnosticsTest() {
        fs::create_directories(directory_);
        clock_.set(sys_days{year{2026} / 11 / 22} + 4h + 39min + 41s + 750ms);
    }
    ~TranscriptionDiagnosticsTest() override {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }

    const fs::path directory_ = fs::temp_directory_path() / ("quillon-diagnostics-" + Uuid::random().toString());
    testing::FakeWallClock clock_;
    const Uuid run_ = *Uuid::parse("6F9619FF-8B86-4011-B42D-00CF4FC964FF");
    const std::string prefix_ = "[2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] ";
};

TEST_F(TranscriptionDiagnosticsTest, RecordsOfEveryRunAndLaunchAppendToOneFile) {
    TranscriptionDiagnostics diagnostics(directory_, clock_);
    diagnostics.append(run_, "BEGIN file=" + TranscriptionDiagnostics::quoted("/home/me/talk.mov"));
    clock_.advance(2s);
    const Uuid second = Uuid::random();
    TranscriptionDiagnostics(directory_, clock_).append(second, "END");  // a later launch
    EXPECT_EQ(contents(directory_ / "Quillon-transcription-diagnostics.log"),
              prefix_ + "BEGIN file=\"/home/me/talk.mov\"\n[2026-11-22T04:39:43Z] [" + second.toString() + "] END\n");

    ASSERT_TRUE(fs::remove(diagnostics.filePath()));  // deleted between runs: made afresh
    clock_.set(clock_.now() - 2s);
    diagnostics.append(run_, "END");
    EXPECT_EQ(contents(diagnostics.filePath()), prefix_ + "END\n");
}

TEST_F(TranscriptionDiagnosticsTest, UnwritablePlacesLoseRecordsSilently) {
    // A directory that is a file, a directory that does not exist, and a log path that is a directory.
    std::ofstream(directory_ / "plain-file") << "x";
    fs::create_directories(directory_ / "blocked" / TranscriptionDiagnostics::fileName);
    for (const auto& place : {directory_ / "plain-file", directory_ / "missing" / "deeper", directory_ / "blocked"}) {
        TranscriptionDiagnostics(place, clock_).append(run_, "END");
    }
    EXPECT_FALSE(fs::exists(directory_ / "missing"));
    EXPECT_TRUE(fs::is_directory(directory_ / "blocked" / TranscriptionDiagnostics::fileName));
    EXPECT_EQ(contents(directory_ / "plain-file"), "x");
}

TEST_F(TranscriptionDiagnosticsTest, ConcurrentRunsNeverMixTheirRecords) {
    TranscriptionDiagnostics diagnostics(directory_, clock_);
    const std::string payload(300, 'p');
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 250; ++i) diagnostics.append(run_, payload);
            });
        }
    }
    std::istringstream lines(contents(diagnostics.filePath()));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) ASSERT_EQ(line, prefix_ + payload);
    EXPECT_EQ(count, 1000);
}

TEST(TranscriptionDiagnosticsQuotingTest, KeepsARecordOnOneLine) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "\"\""},
        {"say \"hi\"\nthen\tgo\\", "\"say \\\"hi\\\"\\nthen\\tgo\\\\\""},
        {"caf\xC3\xA9 \xF0\x9F\x91\x8D", "\"caf\xC3\xA9 \xF0\x9F\x91\x8D\""},  // readable text stays readable
        {"bad\xFF" "byte", "\"bad\xEF\xBF\xBD" "byte\""},                       // an ill-formed byte becomes U+FFFD
        {"\r\x01", "\"\\r\\u0001\""},
    };
    for (const auto& [text, quoted] : cases) EXPECT_EQ(TranscriptionDiagnostics::quoted(text), quoted);
}

}  // namespace
}  // namespace quillon
