#include "core/transcription/TranscriptionDiagnostics.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

#include "fakes/FakeTemporaryFiles.h"
#include "fakes/FakeWallClock.h"

namespace quillon {
namespace {

using namespace std::chrono;

class TranscriptionDiagnosticsTest : public ::testing::Test {
protected:
    TranscriptionDiagnosticsTest() { clock_.set(sys_days{year{2026} / 11 / 22} + 4h + 39min + 41s + 750ms); }

    std::string log() const { return files_.content(std::string(TranscriptionDiagnostics::fileName)); }

    testing::FakeTemporaryFiles files_;
    testing::FakeWallClock clock_;
    const Uuid run_ = Uuid::random();
    const std::string prefix_ = "[2026-11-22T04:39:41Z] [" + run_.toString() + "] ";
};

TEST_F(TranscriptionDiagnosticsTest, TheOldestRecordsGoOnceTheCapIsPassed) {
    const std::size_t record = prefix_.size() + 10 + 1;  // "message-NN" and the line break
    TranscriptionDiagnostics diagnostics(files_, clock_, 8 * record);
    for (int i = 10; i < 40; ++i) {
        diagnostics.append(run_, "message-" + std::to_string(i));
        ASSERT_LE(log().size(), 8 * record);
    }
    // Trimmed to three quarters of the cap (six records) whenever a record passes it.
    std::istringstream lines(log());
    std::vector<std::string> kept;
    for (std::string line; std::getline(lines, line);) kept.push_back(line.substr(prefix_.size()));
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(kept.back(), "message-39") << "the newest record stays";
    EXPECT_GE(kept.size(), 6u);
    for (std::size_t i = 1; i < kept.size(); ++i) EXPECT_LT(kept[i - 1], kept[i]) << "whole records, in order";
}

TEST_F(TranscriptionDiagnosticsTest, ConcurrentRunsNeverMixTheirRecords) {
    TranscriptionDiagnostics diagnostics(files_, clock_);
    const std::string payload(300, 'p');
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 100; ++i) diagnostics.append(run_, payload);
            });
        }
    }
    std::istringstream lines(log());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) ASSERT_EQ(line, prefix_ + payload);
    EXPECT_EQ(count, 400);
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
