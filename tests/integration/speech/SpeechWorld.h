#pragma once

#include <future>
#include <memory>
#include <string>
#include <vector>

#include "core/base/ManualScheduler.h"
#include "core/settings/SettingsManager.h"
#include "core/text/TranscriptCorrector.h"
#include "core/transcription/SettingsTextRules.h"
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

}  // namespace quillon::testing
