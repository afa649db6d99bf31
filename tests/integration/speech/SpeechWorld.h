#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <expected>
#include <future>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "core/transcription/SettingsTextRules.h"
#include "core/transcription/SpeechSession.h"
#include "core/transcription/SpeechTranscriptionSupport.h"
#include "fakes/FakeKeyValueStore.h"
#include "fakes/FakeLoginItem.h"
#include "fakes/TestLog.h"
#include "platform/linux/speech/PCMConverterSwresample.h"
#include "platform/linux/speech/SpeechEnginePocketSphinx.h"

namespace quillon::testing {

// The real recogniser with the real text rules; only the settings store is in memory, so a test
// can set the user's corrections and glossary.
struct SpeechWorld {
    explicit SpeechWorld(PocketSphinxDecoderPool::ModelPaths paths = PocketSphinxDecoderPool::ModelPaths::debianEnglish(),
                         std::string localeIdentifier = "en_US", PocketSphinxDecoderPool::Tuning tuning = {})
        : locale(std::move(localeIdentifier)),
          engine(std::move(paths), log.logger(LogCategory::transcription), true, std::move(tuning)) {}

    void setCorrections(const std::string& text) { settings.setTranscriptionCorrections(text); }
    void setGlossary(const std::string& text) { settings.setTranscriptionGlossary(text); }

    ManualScheduler logQueue;  // the ring is never read; lines reach log.output at once
    TestLog log{logQueue};
    FakeKeyValueStore store;
    FakeLoginItem loginItem;
    SettingsManager settings{store, loginItem, log.logger(LogCategory::settings)};
    TranscriptCorrector corrector{settings, log.logger(LogCategory::transcription)};
    SettingsTextRules rules{corrector, settings};
    std::string locale;
    SpeechEnginePocketSphinx engine;
    PCMConverterSwresample converters;
    SpeechTranscriptionSupport support{engine, rules, [this] { return locale; }, log.logger(LogCategory::transcription)};
};

// What one session reported, gathered across its thread.
struct Transcript {
    std::mutex mutex;
    std::vector<TranscriptionUpdate> updates;
    std::vector<std::string> phrases;
    std::vector<std::string> failures;

    SpeechSessionHandlers handlers() {
        SpeechSessionHandlers h;
        h.onUpdate = [this](const TranscriptionUpdate& u) { std::lock_guard lock(mutex); updates.push_back(u); };
        h.onPhraseFinalized = [this](const std::string& p, const std::string&) {
            std::lock_guard lock(mutex);
            phrases.push_back(p);
        };
        h.onFailure = [this](const std::string& m) { std::lock_guard lock(mutex); failures.push_back(m); };
        return h;
    }
};

// Finishes the session and waits for its text; a generous bound keeps a hang from stalling CI.
inline std::expected<std::string, TranscriptionError> finish(SpeechSession& session) {
    auto done = std::make_shared<std::promise<std::expected<std::string, TranscriptionError>>>();
    auto result = done->get_future();
    session.finishAndWait([done](auto text) { done->set_value(std::move(text)); });
    if (result.wait_for(std::chrono::seconds(120)) == std::future_status::ready) return result.get();
    ADD_FAILURE() << "the session never finished";
    return std::unexpected(TranscriptionError::unavailable());
}

// Pushes 100 ms blocks of the file, as a capture callback does.
inline void feed(SpeechSession& session, const std::vector<std::int16_t>& samples, std::size_t from, std::size_t to, double rate) {
    const auto block = static_cast<std::size_t>(rate / 10);
    for (std::size_t at = from; at < std::min(to, samples.size()); at += block) {
        session.appendPCM16(std::as_bytes(std::span(samples).subspan(at, std::min(block, samples.size() - at))), rate);
    }
}

}  // namespace quillon::testing
