#include "platform/linux/speech/SpeechEnginePocketSphinx.h"

#include <algorithm>
#include <cctype>
#include <system_error>

#include "platform/linux/speech/PocketSphinxAnalyzer.h"

namespace quillon {

namespace {

class PocketSphinxTranscriber final : public SpeechTranscriber {
public:
    PocketSphinxTranscriber(PocketSphinxDecoderPool& pool, TranscriberPreset preset, Logger logger)
        : pool_(pool), preset_(preset), logger_(std::move(logger)) {}

    std::expected<void, TranscriptionError> ensureAssetsInstalled() override {
        for (const auto& file : pool_.paths().requiredFiles()) {
            std::error_code error;
            if (!std::filesystem::is_regular_file(file, error)) {
                logger_.error("The speech model file " + file.string() + " is missing; install the Debian package " +
                              SpeechEnginePocketSphinx::modelPackage);
                return std::unexpected(TranscriptionError::unavailable());
            }
        }
        return {};
    }

    std::optional<AudioFormat> bestAvailableAudioFormat() const override { return PocketSphinxAnalyzer::format; }

    std::unique_ptr<SpeechAnalyzer> makeAnalyzer() override {
        return std::make_unique<PocketSphinxAnalyzer>(pool_, preset_, logger_);
    }

private:
    PocketSphinxDecoderPool& pool_;
    TranscriberPreset preset_;
    Logger logger_;
};

}  // namespace

SpeechEnginePocketSphinx::SpeechEnginePocketSphinx(PocketSphinxDecoderPool::ModelPaths paths, Logger logger,
                                                   bool prepareSpares, PocketSphinxDecoderPool::Tuning tuning)
    : logger_(logger), pool_(std::move(paths), std::move(logger), prepareSpares, std::move(tuning)) {}

std::optional<std::string> SpeechEnginePocketSphinx::supportedLocale(std::string_view localeIdentifier) const {
    // The language is what comes before the region, script, encoding or modifier:
    // "en", "en_GB", "en-US", "en_US.UTF-8", "en_US@euro", "en_US_POSIX".
    const auto end = localeIdentifier.find_first_of("_-.@");
    std::string language(localeIdentifier.substr(0, end));
    std::ranges::transform(language, language.begin(), [](unsigned char c) { return std::tolower(c); });
    if (language == "en") return std::string(supportedLocaleIdentifier);
    return std::nullopt;
}

std::unique_ptr<SpeechTranscriber> SpeechEnginePocketSphinx::makeTranscriber(const std::string& locale,
                                                                             TranscriberPreset preset) {
    if (locale != supportedLocaleIdentifier) return nullptr;
    return std::make_unique<PocketSphinxTranscriber>(pool_, preset, logger_);
}

void SpeechEnginePocketSphinx::warmUp(TranscriberPreset preset, const std::vector<std::string>& glossaryTerms) {
    pool_.warmUp(preset, PocketSphinxGlossary(glossaryTerms));
}

}  // namespace quillon
