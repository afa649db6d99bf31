#include <chrono>
#include <cstdlib>
#include <future>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/speech/PocketSphinxGlossary.h"
#include "platform/linux/speech/SystemLocale.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::media;
using testing::feed;
using testing::finish;
using testing::SpeechWorld;
using testing::Transcript;

class PocketSphinxSessionTest : public ::testing::Test {
protected:
    SpeechWorld world_;
    SerialQueue workerA_{"speech-test-a"};
    SerialQueue workerB_{"speech-test-b"};
    SpeechTranscriptionSessionFactory factory_{world_.support, world_.converters, {&workerA_, &workerB_}};
};

// Two sessions at once share the model: one hears two sentences with a pause between at 16 kHz,
// the other the first sentence at 48 kHz, resampled on the way in.
TEST_F(PocketSphinxSessionTest, SessionsAtOnceStreamCorrectedPhrasesEachFromItsOwnAudio) {
    world_.setCorrections("my mother -> Mum");
    Transcript first, second;
    auto a = factory_.makeSession(first.handlers());
    auto b = factory_.makeSession(second.handlers());
    const auto both = testing::readWavSamples(media("both.wav"));
    const auto call48 = testing::readWavSamples(media("call48.wav"));
    for (std::size_t at = 0; at < both.size() || 3 * at < call48.size(); at += 1600) {
        feed(*a, both, at, at + 1600, 16000.0);
        feed(*b, call48, 3 * at, 3 * at + 4800, 48000.0);
    }
    auto textA = finish(*a);
    auto textB = finish(*b);
    ASSERT_TRUE(textA.has_value() && textB.has_value());
    EXPECT_EQ(*textB, "please call Mum tomorrow morning");

    std::lock_guard lock(first.mutex);
    ASSERT_EQ(first.phrases.size(), 2u) << *textA << ": a pause finalises a phrase before the stop";
    EXPECT_EQ(first.phrases[0], "please call Mum tomorrow morning");
    EXPECT_THAT(first.phrases[1], HasSubstr("weather"));
    EXPECT_THAT(first.phrases[1], Not(HasSubstr("Mum")));
    EXPECT_EQ(*textA, first.phrases[0] + " " + first.phrases[1]);
    EXPECT_EQ(first.updates.front(), (TranscriptionUpdate{"", "", true}));
    EXPECT_EQ(first.updates.back(), (TranscriptionUpdate{*textA, "", false}));
    EXPECT_TRUE(std::ranges::any_of(first.updates, [](const auto& u) { return !u.provisionalText.empty(); }))
        << "partial hypotheses appear while the speech goes on";
    EXPECT_TRUE(first.failures.empty());
}

// A made-up name comes out as near misses without the glossary and as the user spells it with it,
// from the next session on and with no restart; a phrase the dictionary has word by word comes out
// with the glossary's capitals. Emptying the glossary takes the words away again.
TEST_F(PocketSphinxSessionTest, GlossaryTermsAreRecognisedFromTheNextSessionOn) {
    testing::ScratchDirectory scratch;
    const auto at = [&](const char* name) { return (scratch / name).string(); };
    testing::make({"espeak-ng", "-v", "en-us+klatt4", "-s", "170", "-w", at("espeak.wav"),
                   "we are flying to velmora next week"});
    testing::make({"sox", at("espeak.wav"), "-r", "16000", "-c", "1", "-b", "16", at("name.wav"), "pad", "0.5", "0.8",
                   "gain", "-n", "-3"});
    testing::make({"flite", "-voice", "slt", "-t", "grace hopper wrote the first compiler", "-o", at("flite.wav")});
    testing::make({"sox", at("flite.wav"), "-r", "16000", at("phrase.wav"), "pad", "0", "0.8"});
    testing::make({"sox", at("name.wav"), at("phrase.wav"), at("both.wav")});
    const auto samples = testing::readWavSamples(scratch / "both.wav");
    const auto transcribe = [&] {
        Transcript transcript;
        auto session = factory_.makeSession(transcript.handlers());
        feed(*session, samples, 0, samples.size(), 16000.0);
        auto text = finish(*session);
        return text ? *text : text.error().description();
    };
    const auto without = transcribe();
    EXPECT_THAT(without, Not(HasSubstr("Velmora")));
    EXPECT_THAT(without, HasSubstr("grace hopper"));
    world_.setGlossary("Velmora\nGrace Hopper\nKubernetes\n");
    const auto with = transcribe();
    EXPECT_THAT(with, HasSubstr("Velmora next week")) << "without the glossary: " << without;
    EXPECT_THAT(with, HasSubstr("week Grace Hopper")) << "without the glossary: " << without;
    world_.setGlossary("");
    EXPECT_EQ(transcribe(), without);
}

TEST(PocketSphinxEngineTest, EnglishLocalesMapToUSEnglishAndHypothesesGetTheCapitalPronoun) {
    SpeechWorld world;
    for (const char* english : {"en", "en_US", "en-GB", "en_AU.UTF-8", "en_US@euro", "en_US_POSIX", "EN_in"}) {
        EXPECT_EQ(world.engine.supportedLocale(english), "en-US") << english;
    }
    for (const char* other : {"de_DE", "fr", "english", "", "es-419"}) EXPECT_FALSE(world.engine.supportedLocale(other)) << other;
    const PocketSphinxGlossary none;
    EXPECT_EQ(none.writtenForm("i think i'm sure i'll see it if i can"), "I think I'm sure I'll see it if I can");
    EXPECT_EQ(none.writtenForm("idea in ski hi-fi i"), "idea in ski hi-fi I");
}

TEST(PocketSphinxEngineTest, AMissingModelMakesTranscriptionUnavailableAndNamesThePackage) {
    testing::ScratchDirectory empty;
    SpeechWorld world(PocketSphinxDecoderPool::ModelPaths::debianEnglish(empty.path()));
    SerialQueue worker("speech-test-missing");
    SpeechTranscriptionSessionFactory factory(world.support, world.converters, {&worker});
    Transcript transcript;
    auto text = finish(*factory.makeSession(transcript.handlers()));
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), TranscriptionError::unavailable());
    EXPECT_THAT(transcript.failures, ElementsAre("On-device speech transcription is unavailable."));
    const auto errors = world.log.output.messages(LogLevel::error);
    ASSERT_FALSE(errors.empty());
    EXPECT_THAT(errors.front(), HasSubstr("pocketsphinx-en-us"));
}

TEST(SystemLocaleTest, TheLocaleComesFromTheEnvironmentInTheCLibrarysOrder) {
    const std::vector<std::array<const char*, 4>> cases{  // LC_ALL, LC_MESSAGES, LANG -> identifier
        {"", "", "en_GB.UTF-8", "en_GB"},          {"", "de_DE@euro", "en_GB.UTF-8", "de_DE"},
        {"fr_CA.UTF-8", "de_DE", "en_GB", "fr_CA"}, {"", "", "C.UTF-8", "en_US_POSIX"},
        {"POSIX", "", "de_DE", "en_US_POSIX"},      {"", "", "", "en_US_POSIX"}};
    const char* names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    std::array<std::optional<std::string>, 3> saved;
    for (int i = 0; i < 3; ++i) saved[i] = std::getenv(names[i]) ? std::optional<std::string>(std::getenv(names[i])) : std::nullopt;
    for (const auto& c : cases) {
        for (int i = 0; i < 3; ++i) ::setenv(names[i], c[i], 1);
        EXPECT_EQ(currentLocaleIdentifier(), c[3]) << c[0] << "|" << c[1] << "|" << c[2];
    }
    for (int i = 0; i < 3; ++i) saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
}

TEST(PCMConverterSwresampleTest, KeepsItsStateAcrossBlocksAndThePitchOfTheSignal) {
    PCMConverterSwresample factory;
    auto converter = factory.makeConverter({48000.0, 1}, {16000.0, 1});
    ASSERT_TRUE(converter);
    std::vector<std::int16_t> tone(48000), out;  // a second of 440 Hz, in blocks of odd sizes
    for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = static_cast<std::int16_t>(8000 * std::sin(2 * M_PI * 440 * static_cast<double>(i) / 48000.0));
    for (std::size_t at = 0; at < tone.size(); at += 777) {
        auto block = converter->convert(std::span(tone).subspan(at, std::min<std::size_t>(777, tone.size() - at)));
        ASSERT_TRUE(block);
        out.insert(out.end(), block->begin(), block->end());
    }
    EXPECT_NEAR(static_cast<double>(out.size()), 16000.0, 40.0) << "a third of the samples, none lost between blocks";
    int crossings = 0;
    for (std::size_t i = 200; i + 1 < out.size(); ++i) crossings += (out[i] < 0) != (out[i + 1] < 0);
    EXPECT_NEAR(crossings, 880 * (out.size() - 200) / 16000.0, 6);
    EXPECT_FALSE(factory.makeConverter({0.0, 1}, {16000.0, 1}));
    EXPECT_FALSE(factory.makeConverter({44100.5, 1}, {16000.0, 1}));
    EXPECT_TRUE(factory.makeConverter({44100.0, 2}, {16000.0, 1}));
}

}  // namespace
}  // namespace quillon
