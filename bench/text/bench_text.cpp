// The text paths that run for every recogniser result or every edit of a long transcript:
// corrections on a phrase, and grapheme counting and common prefixes on 100,000 characters.

#include <benchmark/benchmark.h>

#include <string>

#include "core/base/ManualScheduler.h"
#include "core/base/Unicode.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

constexpr std::size_t transcriptCharacters = 100'000;

std::string hundredRules() {
    std::string setting;
    for (int i = 0; i < 100; ++i) {
        setting += "term number " + std::to_string(i) + " -> Term#" + std::to_string(i) + "\n";
    }
    setting += "open ai -> OpenAI\n";
    return setting;
}

// About 200 characters of dictation, with two words that the rules change.
const std::string phrase =
    "so the plan for this week is to ship the open ai integration and then term number 42 gets "
    "reviewed by the whole team before friday, after which we write the notes and send them round";

// A world for one corrector: settings on a fake store, the log on a manual queue.
struct CorrectorWorld {
    CorrectorWorld() { store.seed("transcriptionCorrections", hundredRules()); }
    ManualScheduler queue;
    testing::TestLog log{queue};
    testing::FakeKeyValueStore store;
    testing::FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    TranscriptCorrector corrector{settings, log.logger(LogCategory::transcription)};
};

void BM_ApplyingCorrections_100Rules_200Chars(benchmark::State& state) {
    CorrectorWorld world;
    for (auto _ : state) benchmark::DoNotOptimize(world.corrector.applyingCorrections(phrase));
    state.counters["phrase_chars"] = static_cast<double>(phrase.size());
}
BENCHMARK(BM_ApplyingCorrections_100Rules_200Chars)->Unit(benchmark::kMicrosecond);

// The first result after the user edited the list: the rules are compiled again.
void BM_ApplyingCorrections_100Rules_AfterEdit(benchmark::State& state) {
    CorrectorWorld world;
    const std::string a = hundredRules();
    const std::string b = a + "extra -> Extra\n";
    bool flip = false;
    for (auto _ : state) {
        world.store.seed("transcriptionCorrections", (flip = !flip) ? a : b);
        benchmark::DoNotOptimize(world.corrector.applyingCorrections(phrase));
    }
}
BENCHMARK(BM_ApplyingCorrections_100Rules_AfterEdit)->Unit(benchmark::kMicrosecond);

void BM_Normalize_100Rules_200Chars(benchmark::State& state) {
    CorrectorWorld world;
    const std::string spaced = "  " + phrase + " \n\n  and   more\t";
    for (auto _ : state) benchmark::DoNotOptimize(world.corrector.normalize(spaced));
}
BENCHMARK(BM_Normalize_100Rules_200Chars)->Unit(benchmark::kMicrosecond);

std::string asciiTranscript() {
    const std::string sentence = "This is a line of plain dictated English text, with commas and a full stop. ";
    std::string text;
    while (text.size() < transcriptCharacters) text += sentence;
    text.resize(transcriptCharacters);
    return text;
}

// Latin with accents (composed and decomposed), Cyrillic, Greek, CJK, Devanagari with vowel signs,
// Hangul, Arabic, and emoji with skin tones, joiners and flags.
std::string mixedTranscript() {
    const std::string pieces[] = {
        "Caf\xC3\xA9 cre\xCC\x80me ",                         // Café crème (è decomposed)
        "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 ",  // Привет
        "\xCE\xBA\xCE\xB1\xCE\xBB\xCE\xB7\xCE\xBC\xCE\xAD\xCF\x81\xCE\xB1 ",  // καλημέρα
        "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE6\x96\x87\xE7\xAB\xA0\xE3\x80\x82",  // 日本語の文章。
        "\xE0\xA4\xA8\xE0\xA4\xAE\xE0\xA4\xB8\xE0\xA5\x8D\xE0\xA4\xA4\xE0\xA5\x87 ",  // नमस्ते
        "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4 ",                                        // 한국어
        "\xD9\x85\xD8\xB1\xD8\xAD\xD8\xA8\xD8\xA7 ",                                    // مرحبا
        "ok \xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD ",                                         // 👍🏽
        "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB ",                                // 👩‍💻
        "\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7 ",                                            // 🇫🇷
        "plain words in between. ",
    };
    std::string text;
    std::size_t characters = 0;
    while (characters < transcriptCharacters) {
        for (const auto& piece : pieces) {
            text += piece;
            characters += unicode::graphemeCount(piece);
        }
    }
    return text;
}

void BM_GraphemeCount_Ascii100k(benchmark::State& state) {
    const std::string text = asciiTranscript();
    for (auto _ : state) benchmark::DoNotOptimize(unicode::graphemeCount(text));
    state.counters["chars"] = static_cast<double>(unicode::graphemeCount(text));
}
BENCHMARK(BM_GraphemeCount_Ascii100k)->Unit(benchmark::kMicrosecond);

void BM_GraphemeCount_Mixed100k(benchmark::State& state) {
    const std::string text = mixedTranscript();
    for (auto _ : state) benchmark::DoNotOptimize(unicode::graphemeCount(text));
    state.counters["chars"] = static_cast<double>(unicode::graphemeCount(text));
    state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_GraphemeCount_Mixed100k)->Unit(benchmark::kMicrosecond);

// Two versions of a transcript that differ only at the very end: the whole text is compared.
void BM_CommonPrefix_Ascii100k(benchmark::State& state) {
    const std::string a = asciiTranscript();
    std::string b = a;
    b.back() = '!';
    for (auto _ : state) benchmark::DoNotOptimize(unicode::commonPrefixLength(a, b));
}
BENCHMARK(BM_CommonPrefix_Ascii100k)->Unit(benchmark::kMicrosecond);

// The same with mixed scripts, the difference being a skin tone added to the last emoji, so the
// last common bytes end inside a cluster and the result backs off to the cluster's start.
void BM_CommonPrefix_Mixed100k(benchmark::State& state) {
    const std::string a = mixedTranscript() + "\xF0\x9F\x91\x8D";
    const std::string b = a + "\xF0\x9F\x8F\xBD";
    for (auto _ : state) benchmark::DoNotOptimize(unicode::commonPrefixLength(a, b));
    state.counters["backed_off_bytes"] = static_cast<double>(a.size() - unicode::commonPrefixLength(a, b));
}
BENCHMARK(BM_CommonPrefix_Mixed100k)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quillon
