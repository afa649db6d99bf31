#include <chrono>
#include <cstdlib>
#include <map>
#include <future>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SpeechTestFiles.h"
#include "SpeechWorld.h"
#include "core/transcription/SpeechTranscriptionSessionFactory.h"
#include "platform/linux/base/SerialQueue.h"
#include "platform/linux/speech/PocketSphinxAnalyzer.h"
#include "platform/linux/speech/SystemLocale.h"

namespace quillon {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using testing::ScratchDirectory;
using testing::SpeechWorld;

// What one session reported, gathered across its thread.
struct Transcript {
    std::mutex mutex;
    std::vector<TranscriptionUpdate> updates;
    std::vector<std::string> phrases;
    std::vector<std::string> failures;
    std::promise<std::expected<std::string, TranscriptionError>> done;

    SpeechSessionHandlers handlers() {
        SpeechSessionHandlers h;
        h.onUpdate = [this](const TranscriptionUpdate& u) {
            std::lock_guard lock(mutex);
            updates.push_back(u);
        };
        h.onPhraseFinalized = [this](const std::string& phrase, const std::string&) {
            std::lock_guard lock(mutex);
            phrases.push_back(phrase);
        };
        h.onFailure = [this](const std::string& message) {
            std::lock_guard lock(mutex);
            failures.push_back(message);
        };
        return h;
    }

    // Finishes the session and waits for its text; a generous bound keeps a hang from stalling CI.
    std::expected<std::string, TranscriptionError> finish(SpeechSession& session) {
        auto result = done.get_future();
        session.finishAndWait([this](auto text) { done.set_value(std::move(text)); });
        if (result.wait_for(120s) != std::future_status::ready) {
            ADD_FAILURE() << "the session never finished";
            return std::unexpected(TranscriptionError::unavailable());
        }
        return result.get();
    }
};

// Pushes samples in blocks of 100 ms, as a capture callback does.
void feed(SpeechSession& session, const std::vector<std::int16_t>& samples, double rate) {
    const std::size_t block = static_cast<std::size_t>(rate / 10);
    for (std::size_t at = 0; at < samples.size(); at += block) {
        const std::size_t count = std::min(block, samples.size() - at);
        session.appendPCM16(std::as_bytes(std::span(samples.data() + at, count)), rate);
    }
}

class PocketSphinxSessionTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        files_ = new ScratchDirectory;
        testing::synthesize("please call my mother tomorrow morning", *files_ / "call.wav");
        testing::make({"sox", (*files_ / "call.wav").string(), "-r", "48000", (*files_ / "call48.wav").string()});
        testing::synthesize("the weather is nice today", *files_ / "weather.wav", "rms");
        testing::make({"sox", (*files_ / "call.wav").string(), (*files_ / "weather.wav").string(),
                       (*files_ / "both.wav").string(), "pad", "0", "1.5"});
    }
    static void TearDownTestSuite() { delete files_; }

    static std::vector<std::int16_t> samples(const std::string& name) { return testing::readWavSamples(*files_ / name); }

    static ScratchDirectory* files_;
    SpeechWorld world_;
    SerialQueue workerA_{"speech-test-a"};
    SerialQueue workerB_{"speech-test-b"};
    SpeechTranscriptionSessionFactory factory_{world_.support, world_.converters, {&workerA_, &workerB_}};
};

ScratchDirectory* PocketSphinxSessionTest::files_ = nullptr;

TEST_F(PocketSphinxSessionTest, DictationAt16kHzStreamsProvisionalTextAndEndsWithTheCorrectedPhrase) {
    world_.setCorrections("my mother -> Mum");
    Transcript transcript;
    auto session = factory_.makeSession(transcript.handlers());
    feed(*session, samples("call.wav"), 16000.0);
    auto text = transcript.finish(*session);

    ASSERT_TRUE(text.has_value()) << text.error().description();
    EXPECT_EQ(*text, "please call Mum tomorrow morning");
    std::lock_guard lock(transcript.mutex);
    ASSERT_GE(transcript.updates.size(), 3u);
    EXPECT_EQ(transcript.updates.front(), (TranscriptionUpdate{"", "", true}));
    EXPECT_EQ(transcript.updates.back(), (TranscriptionUpdate{*text, "", false}));
    const bool sawProvisional = std::ranges::any_of(transcript.updates, [](const auto& u) { return !u.provisionalText.empty(); });
    EXPECT_TRUE(sawProvisional) << "partial hypotheses appear while the speech goes on";
    EXPECT_THAT(transcript.phrases, ::testing::ElementsAre(*text));
    EXPECT_TRUE(transcript.failures.empty());
}

TEST_F(PocketSphinxSessionTest, LiveAudioAt48kHzIsResampledToTheSameText) {
    Transcript transcript;
    auto session = factory_.makeSession(transcript.handlers());
    feed(*session, samples("call48.wav"), 48000.0);
    auto text = transcript.finish(*session);
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(*text, "please call my mother tomorrow morning");
}

TEST_F(PocketSphinxSessionTest, APauseFinalisesAPhraseBeforeTheStop) {
    Transcript transcript;
    auto session = factory_.makeSession(transcript.handlers());
    feed(*session, samples("both.wav"), 16000.0);
    auto text = transcript.finish(*session);

    ASSERT_TRUE(text.has_value());
    std::lock_guard lock(transcript.mutex);
    ASSERT_EQ(transcript.phrases.size(), 2u) << *text;
    EXPECT_EQ(transcript.phrases[0], "please call my mother tomorrow morning");
    EXPECT_THAT(transcript.phrases[1], HasSubstr("weather"));
    EXPECT_EQ(*text, transcript.phrases[0] + " " + transcript.phrases[1]);
}

TEST_F(PocketSphinxSessionTest, SessionsAtTheSameTimeShareTheModelWithoutDisturbingEachOther) {
    Transcript first;
    Transcript second;
    auto a = factory_.makeSession(first.handlers());
    auto b = factory_.makeSession(second.handlers());
    const auto call = samples("call.wav");
    const auto weather = samples("weather.wav");
    // Block by block in turn, so both decoders work on the shared model at the same time.
    for (std::size_t at = 0; at < std::max(call.size(), weather.size()); at += 1600) {
        if (at < call.size()) feed(*a, {call.begin() + at, call.begin() + std::min(call.size(), at + 1600)}, 16000.0);
        if (at < weather.size()) {
            feed(*b, {weather.begin() + at, weather.begin() + std::min(weather.size(), at + 1600)}, 16000.0);
        }
    }
    auto textA = first.finish(*a);
    auto textB = second.finish(*b);
    ASSERT_TRUE(textA.has_value() && textB.has_value());
    EXPECT_EQ(*textA, "please call my mother tomorrow morning");
    EXPECT_THAT(*textB, HasSubstr("weather"));
    EXPECT_THAT(*textB, ::testing::Not(HasSubstr("mother")));
}

TEST_F(PocketSphinxSessionTest, SilenceAndNoAudioGiveAnEmptyText) {
    for (const std::size_t seconds : {0, 3}) {
        Transcript transcript;
        auto session = factory_.makeSession(transcript.handlers());
        feed(*session, std::vector<std::int16_t>(seconds * 16000, 0), 16000.0);
        auto text = transcript.finish(*session);
        ASSERT_TRUE(text.has_value());
        EXPECT_EQ(*text, "") << seconds << " s of silence";
    }
}

TEST_F(PocketSphinxSessionTest, CancelledSessionReportsNothingMoreAndFreesItsDecoder) {
    Transcript transcript;
    auto session = factory_.makeSession(transcript.handlers());
    feed(*session, samples("call.wav"), 16000.0);
    session->cancel();
    // A session made after the cancel runs on the same worker, so when it is done, so is the cancel.
    Transcript other;
    factory_.makeSession(other.handlers())->cancel();
    Transcript after;
    auto next = factory_.makeSession(after.handlers());
    ASSERT_TRUE(after.finish(*next).has_value());
    std::lock_guard lock(transcript.mutex);
    EXPECT_TRUE(transcript.failures.empty());
    EXPECT_TRUE(transcript.updates.empty() || transcript.updates.back().isProcessing);
    EXPECT_GE(world_.engine.pool().idleCount(TranscriberPreset::progressiveTranscription), 1u);
}

TEST(PocketSphinxEngineTest, EnglishLocalesMapToUSEnglishAndOthersAreRefusedByName) {
    SpeechWorld world;
    for (const char* english : {"en", "en_US", "en-GB", "en_AU.UTF-8", "en_US@euro", "en_US_POSIX", "EN_in"}) {
        EXPECT_EQ(world.engine.supportedLocale(english), "en-US") << english;
    }
    for (const char* other : {"de_DE", "fr", "english", "", "es-419"}) {
        EXPECT_FALSE(world.engine.supportedLocale(other)) << other;
    }
    SpeechWorld german(PocketSphinxDecoderPool::ModelPaths::debianEnglish(), "de_DE");
    auto transcriber = german.support.makeTranscriber(TranscriberPreset::transcription);
    ASSERT_FALSE(transcriber);
    EXPECT_EQ(transcriber.error().description(), "On-device speech transcription does not support de_DE.");
}

TEST(PocketSphinxEngineTest, AMissingModelMakesTranscriptionUnavailableAndNamesThePackage) {
    ScratchDirectory empty;
    SpeechWorld world(PocketSphinxDecoderPool::ModelPaths::debianEnglish(empty.path()));
    SerialQueue worker("speech-test-missing");
    SpeechTranscriptionSessionFactory factory(world.support, world.converters, {&worker});
    Transcript transcript;
    auto session = factory.makeSession(transcript.handlers());
    auto text = transcript.finish(*session);
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), TranscriptionError::unavailable());
    EXPECT_THAT(transcript.failures, ::testing::ElementsAre("On-device speech transcription is unavailable."));
    const auto errors = world.log.output.messages(LogLevel::error);
    ASSERT_FALSE(errors.empty());
    EXPECT_THAT(errors.front(), HasSubstr("pocketsphinx-en-us"));
}

TEST(PocketSphinxEngineTest, HypothesesAreWrittenWithTheCapitalPronoun) {
    EXPECT_EQ(PocketSphinxAnalyzer::writtenForm("i think i'm sure i'll see it if i can"),
              "I think I'm sure I'll see it if I can");
    EXPECT_EQ(PocketSphinxAnalyzer::writtenForm("i"), "I");
    EXPECT_EQ(PocketSphinxAnalyzer::writtenForm("idea in ski hi-fi"), "idea in ski hi-fi");
}

TEST(SystemLocaleTest, TheLocaleComesFromTheEnvironmentInTheCLibrarysOrder) {
    struct Case {
        const char* all;
        const char* messages;
        const char* lang;
        const char* identifier;
    };
    const Case cases[] = {
        {"", "", "en_GB.UTF-8", "en_GB"},
        {"", "de_DE@euro", "en_GB.UTF-8", "de_DE"},
        {"fr_CA.UTF-8", "de_DE", "en_GB", "fr_CA"},
        {"", "", "C.UTF-8", "en_US_POSIX"},
        {"POSIX", "", "de_DE", "en_US_POSIX"},
        {"", "", "", "en_US_POSIX"},
    };
    std::map<std::string, std::optional<std::string>> saved;
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        saved[name] = value ? std::optional<std::string>(value) : std::nullopt;
    }
    for (const auto& c : cases) {
        ::setenv("LC_ALL", c.all, 1);
        ::setenv("LC_MESSAGES", c.messages, 1);
        ::setenv("LANG", c.lang, 1);
        EXPECT_EQ(currentLocaleIdentifier(), c.identifier) << c.all << "|" << c.messages << "|" << c.lang;
    }
    for (const auto& [name, value] : saved) {
        if (value) ::setenv(name.c_str(), value->c_str(), 1);
        else ::unsetenv(name.c_str());
    }
}

TEST(PCMConverterSwresampleTest, KeepsItsStateAcrossBlocksAndThePitchOfTheSignal) {
    PCMConverterSwresample factory;
    auto converter = factory.makeConverter({48000.0, 1}, {16000.0, 1});
    ASSERT_TRUE(converter);
    // One second of a 440 Hz tone in blocks of odd sizes.
    std::vector<std::int16_t> tone(48000);
    for (std::size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<std::int16_t>(8000 * std::sin(2 * 3.14159265358979 * 440 * static_cast<double>(i) / 48000));
    }
    std::vector<std::int16_t> out;
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
