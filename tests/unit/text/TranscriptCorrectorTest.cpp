#include "core/text/TranscriptCorrector.h"

#include <gtest/gtest.h>

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
    void setCorrections(const std::string& setting) { store_.seed("transcriptionCorrections", setting); }

    std::size_t skippedReports() const {
        std::size_t count = 0;
        for (const auto& message : log_.output.messages(LogLevel::error)) {
            if (message.starts_with("Skipping correction")) ++count;
        }
        return count;
    }

    ManualScheduler queue_;
    testing::TestLog log_{queue_};
    testing::FakeKeyValueStore store_;
    testing::FakeLoginItem loginItem_;
    SettingsManager settings_{store_, loginItem_, log_.logger(LogCategory::settings)};
    TranscriptCorrector corrector_{settings_, log_.logger(LogCategory::transcription)};
};

struct CorrectionCase {
    std::string setting;
    std::string text;
    std::string expected;
};

TEST_F(TranscriptCorrectorTest, AppliesWholeWordCaseInsensitiveCorrectionsInOrder) {
    const std::vector<CorrectionCase> cases{
        {"", "Open AI's plan", "Open AI's plan"},
        {"open ai -> OpenAI", "Open AI's plan", "OpenAI's plan"},
        {"open ai -> OpenAI", "reopen aid", "reopen aid"},        // never inside a word
        {"open ai -> OpenAI", "OPEN AI, open ai", "OpenAI, OpenAI"},
        {"ai -> AI", "ai_ai-ai.ai", "AI_AI-AI.AI"},                  // underscore and punctuation bound words
        {"ai -> AI", "ai2 2ai", "ai2 2ai"},                          // digits do not
        {"naive -> naïve", "naiveté naive", "naiveté naïve"},        // an accented letter is a letter
        {"a -> b\nb -> c", "a", "c"},                                // chained on the previous output
        {"b -> c\na -> b", "a", "b"},
        {"x → y -> z", "x → y!", "z!"},
        {"x -> y -> z\nx → y → z", "x y z", "x y z"},               // ignored lines
        {"k8s -> Kubernetes\r\nkube → Kubernetes\r\n", "kube and K8S", "Kubernetes and Kubernetes"},
        {"hello -> $0$0", "Hello there", "HelloHello there"},       // "$0" is the matched text
        {"hello -> Hi", "HELLO", "Hi"},                              // the replacement is used as written
        {"dollars -> $", "ten dollars", "ten $"},                    // a lone dollar sign is text
        {"usd -> US$ (dollars)", "5 usd", "5 US$ (dollars)"},
        {"tab -> a\\$0b", "tab", "a$0b"},                            // a backslash escapes
        {"straße -> Strasse", "STRASSE straße", "Strasse Strasse"},  // full case folding
        {"ὀδυσσεύς -> Odysseus", "ὈΔΥΣΣΕΎΣ ὀδυσσεύς", "Odysseus Odysseus"},  // final sigma folds too
        {"file -> File", "\xEF\xAC\x81le", "File"},                 // the fi ligature folds to "fi"
        {"ǅemal -> Dzemal", "ǄEMAL", "Dzemal"},                       // title-case digraph
    };
    for (const auto& c : cases) {
        setCorrections(c.setting);
        EXPECT_EQ(corrector_.applyingCorrections(c.text), c.expected) << c.setting << " on " << c.text;
    }
    EXPECT_EQ(skippedReports(), 0u);
}

TEST_F(TranscriptCorrectorTest, SourceFullOfPatternCharactersMatchesLiterally) {
    const std::vector<CorrectionCase> cases{
        {"c++ -> C++", "I write c++ daily", "I write C++ daily"},
        {"a.b -> dot", "a.b axb", "dot axb"},
        {"(x|y)* -> group", "(X|Y)* x", "group x"},
        {"[abc] -> set", "[abc] a", "set a"},
        {"^$ -> anchors", "^$ and $^", "anchors and $^"},
        {"\\d{2} -> digits", "\\d{2} 42", "digits 42"},
        {"\\Q x \\E -> quoted", "\\q x \\e", "quoted"},
        {"# comment -> hash", "# comment", "hash"},
        {"a/b?c -> path", "a/b?c", "path"},
    };
    for (const auto& c : cases) {
        setCorrections(c.setting);
        EXPECT_EQ(corrector_.applyingCorrections(c.text), c.expected) << c.setting;
    }
    EXPECT_EQ(skippedReports(), 0u);
}

TEST_F(TranscriptCorrectorTest, ReplacementNamingAMissingGroupIsSkippedAndReportedOnce) {
    setCorrections("alpha -> $1\nbeta -> B\ngamma -> $10 x");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(corrector_.applyingCorrections("alpha beta gamma"), "alpha B gamma");
    }
    EXPECT_EQ(skippedReports(), 2u);  // once per bad line, not once per call

    // Another setting text is compiled afresh and reported afresh.
    setCorrections("alpha -> $1 \nbeta -> b");
    EXPECT_EQ(corrector_.applyingCorrections("alpha beta"), "alpha b");
    EXPECT_EQ(skippedReports(), 3u);
}

TEST_F(TranscriptCorrectorTest, ReadsTheSettingAtEveryCall) {
    EXPECT_EQ(corrector_.applyingCorrections("open ai"), "open ai");
    settings_.setTranscriptionCorrections("open ai -> OpenAI");
    EXPECT_EQ(corrector_.applyingCorrections("open ai"), "OpenAI");
    settings_.setTranscriptionCorrections("open ai -> Open A.I.");
    EXPECT_EQ(corrector_.applyingCorrections("open ai"), "Open A.I.");
    settings_.setTranscriptionCorrections("");
    EXPECT_EQ(corrector_.applyingCorrections("open ai"), "open ai");
}

TEST_F(TranscriptCorrectorTest, TextWithoutAMatchComesBackByteForByte) {
    setCorrections("x -> y");
    const std::string illFormed = "caf\xC3 \xFF end";
    EXPECT_EQ(corrector_.applyingCorrections(illFormed), illFormed);
    EXPECT_EQ(corrector_.applyingCorrections(""), "");
}

TEST_F(TranscriptCorrectorTest, NormalizeCollapsesWhiteSpaceTrimsThenCorrects) {
    const std::vector<CorrectionCase> cases{
        {"", "  hello \n\n  world\t", "hello world"},
        {"", "a\r\nb\xE2\x80\xA8" "c\xC2\xA0\xC2\xA0" "d", "a b c d"},
        {"", " \n\t ", ""},
        {"", "\xE2\x80\x8B", "\xE2\x80\x8B"},  // a zero-width space is not white space
        // The corrections see the collapsed text, so a source with one blank matches a line break.
        {"open ai -> OpenAI", "open\n   ai  rocks", "OpenAI rocks"},
    };
    for (const auto& c : cases) {
        setCorrections(c.setting);
        EXPECT_EQ(corrector_.normalize(c.text), c.expected) << c.text;
    }
}

TEST_F(TranscriptCorrectorTest, CallsFromSeveralThreadsShareTheCompiledRules) {
    setCorrections("open ai -> OpenAI\nkube -> Kubernetes");
    std::vector<std::jthread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (corrector_.applyingCorrections("open ai on kube") != "OpenAI on Kubernetes") ++wrong;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace quillon
