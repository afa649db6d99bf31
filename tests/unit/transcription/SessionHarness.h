#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/transcription/SpeechTranscriptionSession.h"
#include "core/transcription/SpeechTranscriptionSupport.h"
#include "fakes/FakePCMConverterFactory.h"
#include "fakes/FakeSpeechEngine.h"
#include "fakes/FakeTranscriptTextRules.h"
#include "fakes/TestLog.h"

namespace quillon::testing {

// One session on a manual worker, with every callback written into one ordered list of events.
struct SessionHarness {
    std::string locale = "en_US";
    ManualScheduler worker;
    ManualScheduler logQueue;
    TestLog log{logQueue};
    FakeSpeechEngine engine;
    FakePCMConverterFactory converters;
    FakeTranscriptTextRules rules;
    SpeechTranscriptionSupport support{engine, rules, [this] { return locale; }, log.logger(LogCategory::transcription)};

    std::vector<std::string> events;
    std::optional<std::expected<std::string, TranscriptionError>> result;
    int completions = 0;

    SpeechSessionHandlers handlers() {
        SpeechSessionHandlers h;
        h.onUpdate = [this](const TranscriptionUpdate& u) {
            events.push_back("update[" + u.committedText + "|" + u.provisionalText + "|" +
                             (u.isProcessing ? "processing" : "done") + "]");
        };
        h.onPhraseFinalized = [this](const std::string& phrase, const std::string& committed) {
            events.push_back("phrase[" + phrase + "|" + committed + "]");
        };
        h.onFinished = [this](const std::string& text) { events.push_back("finished[" + text + "]"); };
        h.onFailure = [this](const std::string& message) { events.push_back("failure[" + message + "]"); };
        return h;
    }

    std::shared_ptr<SpeechTranscriptionSession> start() {
        return SpeechTranscriptionSession::start(support, converters, worker, handlers());
    }

    void finish(SpeechSession& session) {
        session.finishAndWait([this](std::expected<std::string, TranscriptionError> r) {
            ++completions;
            result = std::move(r);
            events.push_back("completion");
        });
    }

    // Pushes `count` samples of `value` at `rate`, as the audio thread does.
    static void push(SpeechSession& session, std::size_t count, std::int16_t value = 100, double rate = 16000.0) {
        const std::vector<std::int16_t> samples(count, value);
        session.appendPCM16(std::as_bytes(std::span(samples)), rate);
    }
};

inline SpeechResult volatileResult(std::string text) { return SpeechResult{std::move(text), false}; }
inline SpeechResult finalResult(std::string text) { return SpeechResult{std::move(text), true}; }

}  // namespace quillon::testing
