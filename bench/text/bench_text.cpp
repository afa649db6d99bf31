// The text paths that run for every recogniser result or every edit of a long transcript:
// corrections on a phrase, and grapheme counting and common prefixes on 100,000 characters.
#include <benchmark/benchmark.h>

#include <string>

#include "core/base/ManualScheduler.h"
#include "core/base/Unicode.h"
#include "core/live/TranscriptMerging.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"

namespace quillon {
namespace {

constexpr std::size_t transcriptCharacters = 100'000;

// A hundred rules of the user's list of corrections, and one more once the user edited it.
std::string hundredRules(bool edited = false) {
    std::string setting;
    for (int i = 0; i < 100; ++i) {
        setting += "term number " + std::to_string(i) + " -> Term#" + std::to_string(i) + "\n";
    }
    return setting + "open ai -> OpenAI\n" + (edited ? "extra -> Extra\n" : "");
}

// About 200 characters of dictation, with two words that the rules change.
const std::string phrase =
    "so the plan for this week is to ship the open ai integration and then term number 42 gets "
    "reviewed by the whole team before friday, after which we write the notes and send them round";

// A corrector on settings in a fake store, its log on a manual queue.
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
    const std::string versions[] = {hundredRules(), hundredRules(true)};
    for (std::size_t round = 0; auto _ : state) {
        world.store.seed("transcriptionCorrections", versions[++round % 2]);
        benchmark::DoNotOptimize(world.corrector.applyingCorrections(phrase));
    }
}
BENCHMARK(BM_ApplyingCorrections_100Rules_AfterEdit)->Unit(benchmark::kMicrosecond);

// 100,000 characters of plain English, or of Latin with accents (è decomposed), Cyrillic, Greek,
// CJK, Devanagari with vowel signs, Hangul, Arabic, and emoji with skin tones, joiners and flags.
std::string transcript(bool mixed) {
    const std::vector<std::string> pieces =
        mixed ? std::vector<std::string>{"Caf\xC3\xA9 cre\xCC\x80me ", "Привет ", "καλημέρα ", "日本語の文章。",
                                         "नमस्ते ", "한국어 ", "مرحبا ", "ok 👍🏽 ",
                                         "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB ", "🇫🇷 ",
                                         "plain words in between. "}
              : std::vector<std::string>{"This is a line of plain dictated English text, with commas "
                                         "and a full stop. "};
    std::string text;
    for (std::size_t characters = 0; characters < transcriptCharacters;) {
        for (const auto& piece : pieces) {
            text += piece;
            characters += unicode::graphemeCount(piece);
        }
    }
    if (!mixed) text.resize(transcriptCharacters);
    return text;
}

void graphemeCount(benchmark::State& state, bool mixed) {
    const std::string text = transcript(mixed);
    for (auto _ : state) benchmark::DoNotOptimize(unicode::graphemeCount(text));
    state.counters["chars"] = static_cast<double>(unicode::graphemeCount(text));
    state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK_CAPTURE(graphemeCount, Ascii100k, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(graphemeCount, Mixed100k, true)->Unit(benchmark::kMicrosecond);

// Two versions of a transcript that differ only at the very end, so the whole text is compared.
// In mixed scripts the difference is a skin tone added to the last emoji: the last common bytes
// end inside a cluster, and the result backs off to the cluster's start.
void commonPrefix(benchmark::State& state, bool mixed) {
    const std::string a = mixed ? transcript(true) + "👍" : transcript(false);
    const std::string b = mixed ? a + "\xF0\x9F\x8F\xBD" : a.substr(0, a.size() - 1) + "!";
    for (auto _ : state) benchmark::DoNotOptimize(unicode::commonPrefixLength(a, b));
    state.counters["backed_off_bytes"] = static_cast<double>(a.size() - unicode::commonPrefixLength(a, b));
}
BENCHMARK_CAPTURE(commonPrefix, Ascii100k, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(commonPrefix, Mixed100k, true)->Unit(benchmark::kMicrosecond);

// One recogniser update of a live transcript of 100,000 characters whose user fixed a word near
// the start: the edit is carried over to the grown text.
void BM_MergingUserEdits_100k(benchmark::State& state) {
    std::string source;
    while (source.size() < transcriptCharacters) source += "words spoken in a long meeting, ";
    std::string displayed = source;
    displayed.replace(6, 6, "SPOKEN");
    const std::string grown = source + "and the next phrase.";
    for (auto _ : state) benchmark::DoNotOptimize(mergingUserEdits(source, displayed, grown));
}
BENCHMARK(BM_MergingUserEdits_100k)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quillon
