#pragma once

#include <memory>

#include "core/logging/Logger.h"
#include "core/ports/SpeechEngine.h"
#include "platform/linux/speech/PocketSphinxDecoderPool.h"

namespace quillon {

// On-device recognition with PocketSphinx and Debian's US English model. English locales map to
// en-US; a missing model makes transcription unavailable, and the log names the package that
// brings it. Thread-safe: sessions share the engine and its decoder pool.
class SpeechEnginePocketSphinx final : public SpeechEngine {
public:
    static constexpr const char* supportedLocaleIdentifier = "en-US";
    static constexpr const char* modelPackage = "pocketsphinx-en-us";

    // `prepareSpares` and `tuning`: see PocketSphinxDecoderPool.
    SpeechEnginePocketSphinx(PocketSphinxDecoderPool::ModelPaths paths, Logger logger, bool prepareSpares = true,
                             PocketSphinxDecoderPool::Tuning tuning = {});

    bool isAvailable() const override { return true; }
    std::optional<std::string> supportedLocale(std::string_view localeIdentifier) const override;
    std::unique_ptr<SpeechTranscriber> makeTranscriber(const std::string& locale, TranscriberPreset preset) override;

    // Loads the model off the calling thread, so that the first session starts without the wait.
    void warmUp(TranscriberPreset preset, const std::vector<std::string>& glossaryTerms = {});

    PocketSphinxDecoderPool& pool() { return pool_; }

private:
    Logger logger_;
    PocketSphinxDecoderPool pool_;
};

}  // namespace quillon
