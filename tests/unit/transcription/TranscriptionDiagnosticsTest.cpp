#include "core/transcription/TranscriptionDiagnostics.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

std::string contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines(const fs::path& file) {
    std::vector<std::string> result;
    std::istringstream in(contents(file));
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

class TranscriptionDiagnosticsTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::random_device random;
        directory_ = fs::temp_directory_path() / ("quillon-diagnostics-test-" + std::to_string(random()));
        fs::create_directories(directory_);
        clock_.set(sys_days{year{2026} / 11 / 22} + 4h + 39min + 41s + 750ms);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(directory_, fs::perms::owner_all, ignored);
        fs::remove_all(directory_, ignored);
    }

    fs::path directory_;
    testing::FakeWallClock clock_;
    const Uuid run_ = *Uuid::parse("6F9619FF-8B86-4011-B42D-00CF4FC964FF");
};

TEST_F(TranscriptionDiagnosticsTest, RunsAppendRecordsToOneFile) {
    TranscriptionDiagnostics diagnostics(directory_, clock_);
    EXPECT_EQ(diagnostics.filePath(), directory_ / "Quillon-transcription-diagnostics.log");

    diagnostics.append(run_, "BEGIN file=" + TranscriptionDiagnostics::quoted("/home/me/talk.mov"));
    clock_.advance(2s);
    diagnostics.append(run_, "result=" + TranscriptionDiagnostics::quoted("hello world"));
    diagnostics.append(run_, "END");
    const Uuid second = Uuid::random();
    diagnostics.append(second, "BEGIN file=\"/tmp/b.wav\"");

    EXPECT_EQ(contents(diagnostics.filePath()),
              "[2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] BEGIN file=\"/home/me/talk.mov\"\n"
              "[2026-11-22T04:39:43Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] result=\"hello world\"\n"
              "[2026-11-22T04:39:43Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] END\n"
              "[2026-11-22T04:39:43Z] [" + second.toString() + "] BEGIN file=\"/tmp/b.wav\"\n");

    // A second diagnostics object on the same directory (a later launch) appends too.
    TranscriptionDiagnostics later(directory_, clock_);
    later.append(second, "END");
    EXPECT_EQ(lines(diagnostics.filePath()).size(), 5u);
}

TEST_F(TranscriptionDiagnosticsTest, FileDeletedBetweenRunsIsCreatedAfresh) {
    TranscriptionDiagnostics diagnostics(directory_, clock_);
    diagnostics.append(run_, "END");
    ASSERT_TRUE(fs::remove(diagnostics.filePath()));
    diagnostics.append(run_, "BEGIN file=\"/x\"");
    EXPECT_EQ(lines(diagnostics.filePath()),
              std::vector<std::string>{"[2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] BEGIN file=\"/x\""});
}

TEST_F(TranscriptionDiagnosticsTest, UnwritablePlacesLoseRecordsSilently) {
    // A directory that is a file, a directory that does not exist, and a log path that is a directory.
    const fs::path notADirectory = directory_ / "plain-file";
    std::ofstream(notADirectory) << "x";
    TranscriptionDiagnostics intoFile(notADirectory, clock_);
    TranscriptionDiagnostics intoNowhere(directory_ / "missing" / "deeper", clock_);
    fs::create_directories(directory_ / "blocked" / TranscriptionDiagnostics::fileName);
    TranscriptionDiagnostics intoDirectory(directory_ / "blocked", clock_);

    for (auto* diagnostics : {&intoFile, &intoNowhere, &intoDirectory}) {
        diagnostics->append(run_, "BEGIN file=\"/x\"");
        diagnostics->append(run_, "END");
    }
    EXPECT_FALSE(fs::exists(directory_ / "missing"));
    EXPECT_TRUE(fs::is_directory(directory_ / "blocked" / TranscriptionDiagnostics::fileName));
    EXPECT_EQ(contents(notADirectory), "x");
}

TEST_F(TranscriptionDiagnosticsTest, ReadOnlyDirectoryLosesRecordsSilently) {
    fs::path readOnly = directory_;
    fs::permissions(readOnly, fs::perms::owner_read | fs::perms::owner_exec);
    if (std::ofstream(readOnly / "probe")) {
        // Permissions do not bind this user (root in CI): take a directory that no one can add to.
        readOnly = "/proc/self";
        ASSERT_FALSE(std::ofstream(readOnly / "probe")) << "expected /proc/self to refuse new files";
    }
    TranscriptionDiagnostics diagnostics(readOnly, clock_);
    diagnostics.append(run_, "BEGIN file=\"/x\"");
    diagnostics.append(run_, "END");
    EXPECT_FALSE(fs::exists(diagnostics.filePath()));
}

TEST_F(TranscriptionDiagnosticsTest, ConcurrentRunsNeverMixTheirRecords) {
    TranscriptionDiagnostics diagnostics(directory_, clock_);
    constexpr int runs = 4;
    constexpr int recordsPerRun = 250;
    const std::string payload(300, 'p');
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < runs; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < recordsPerRun; ++i) {
                    diagnostics.append(run_, "run" + std::to_string(t) + " " + payload);
                }
            });
        }
    }
    const auto all = lines(diagnostics.filePath());
    ASSERT_EQ(all.size(), std::size_t{runs * recordsPerRun});
    const std::string prefix = "[2026-11-22T04:39:41Z] [6F9619FF-8B86-4011-B42D-00CF4FC964FF] run";
    for (const auto& line : all) {
        ASSERT_TRUE(line.starts_with(prefix) && line.ends_with(" " + payload)) << line.substr(0, 120);
        ASSERT_EQ(line.size(), prefix.size() + 2 + payload.size());
    }
}

TEST(TranscriptionDiagnosticsQuotingTest, KeepsARecordOnOneLine) {
    struct Case {
        std::string text;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"", "\"\""},
        {"/home/me/My Talk.mov", "\"/home/me/My Talk.mov\""},
        {"say \"hi\"\nthen\tgo\\", "\"say \\\"hi\\\"\\nthen\\tgo\\\\\""},
        {"caf\xC3\xA9 \xF0\x9F\x91\x8D", "\"caf\xC3\xA9 \xF0\x9F\x91\x8D\""},  // readable text stays readable
        {"bad\xFF" "byte", "\"bad\xEF\xBF\xBD" "byte\""},                       // an ill-formed byte becomes U+FFFD
        {"\r\x01", "\"\\r\\u0001\""},
    };
    for (const auto& c : cases) EXPECT_EQ(TranscriptionDiagnostics::quoted(c.text), c.expected);
}

}  // namespace
}  // namespace quillon
