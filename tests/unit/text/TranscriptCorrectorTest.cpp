#include "core/text/TranscriptCorrector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

class TranscriptCorrectorTest : public ::testing::Test {
protected:
    std::string correct(const std::string& setting, const std::string& text) {
        store_.seed("transcriptionCorrections", setting);
        return corrector_.applyingCorrections(text);
    }
    std::size_t skippedReports() const {
        return std::ranges::count_if(log_.output.messages(LogLevel::error),
                                     [](const auto& message) { return message.starts_with("Skipping correction"); });
    }

    ManualScheduler queue_;
    testing::TestLog log_{queue_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    TranscriptCorrector corrector_{settings_, log_.logger(LogCategory::transcription)};
};

TEST_F(TranscriptCorrectorTest, AppliesWholeWordCaseInsensitiveCorrectionsInOrderAtEveryCall) {
    struct Case {
        std::string setting;
        std::string text;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"", "Open AI's plan", "Open AI's plan"},
        {"open ai -> OpenAI", "OPEN AI's plan, reopen aid", "OpenAI's plan, reopen aid"},  // never inside a word
        {"ai -> AI", "ai_ai-ai.ai ai2 2ai", "AI_AI-AI.AI ai2 2ai"},  // underscore and punctuation bound words, digits do not
        {"naive -> naïve", "naiveté naive", "naiveté naïve"},        // an accented letter is a letter
        {"a -> b\nb -> c", "a", "c"},                                // each runs on the previous output
        {"hello -> $0$0", "Hello there", "HelloHello there"},       // "$0" is the matched text
        {"hello -> Hi", "HELLO", "Hi"},                              // the replacement is used as written
        {"dollars -> $", "ten dollars", "ten $"},                    // a lone dollar sign is text
        {"tab -> a\\$0b", "tab", "a$0b"},                            // a backslash escapes
        {"straße -> Strasse", "STRASSE straße", "Strasse Strasse"},  // full case folding
        {"ǅemal -> Dzemal", "ǄEMAL", "Dzemal"},                       // title-case digraph
        // A source full of pattern characters matches literally.
        {"c++ -> C\na.b -> dot\n(x|y)* -> group\n[abc] -> set\n^$ -> anchors\n\\d{2} -> digits\n\\Q x \\E -> quoted",
         "c++ a.b axb (X|Y)* [abc] a ^$ $^ \\d{2} 42 \\q x \\e", "C dot axb group set a anchors $^ digits 42 quoted"},
        {"# comment -> hash\na/b?c -> path", "# comment a/b?c", "hash path"},
    };
    for (const auto& c : cases) EXPECT_EQ(correct(c.setting, c.text), c.expected) << c.setting << " on " << c.text;
    EXPECT_EQ(skippedReports(), 0u);

    const std::string illFormed = "caf\xC3 \xFF end";  // text without a match comes back byte for byte
    EXPECT_EQ(correct("x -> y", illFormed), illFormed);
}

TEST_F(TranscriptCorrectorTest, ReplacementNamingAMissingGroupIsSkippedAndReportedOncePerSetting) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(correct("alpha -> $1\nbeta -> B\ngamma -> $10 x", "alpha beta gamma"), "alpha B gamma");
    EXPECT_EQ(skippedReports(), 2u);
    EXPECT_EQ(correct("alpha -> $1 \nbeta -> b", "alpha beta"), "alpha b");
    EXPECT_EQ(skippedReports(), 3u);
}

TEST_F(TranscriptCorrectorTest, NormalizeCollapsesWhiteSpaceTrimsThenCorrects) {
    store_.seed("transcriptionCorrections", "open ai -> OpenAI");
    EXPECT_EQ(corrector_.normalize("  open\n\n   ai \r\nb\xE2\x80\xA8" "c\xC2\xA0\xC2\xA0" "d\t"), "OpenAI b c d");
    EXPECT_EQ(corrector_.normalize(" \n\t "), "");
    EXPECT_EQ(corrector_.normalize("\xE2\x80\x8B"), "\xE2\x80\x8B") << "a zero-width space is not white space";
}

TEST_F(TranscriptCorrectorTest, CallsFromSeveralThreadsShareTheCompiledRules) {
    store_.seed("transcriptionCorrections", "open ai -> OpenAI\nkube -> Kubernetes");
    std::atomic<int> wrong{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 200; ++i) wrong += corrector_.applyingCorrections("open ai on kube") != "OpenAI on Kubernetes";
            });
        }
    }
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace quillon
