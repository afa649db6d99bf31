#pragma once

#include <expected>
#include <memory>
#include <optional>
#include <vector>

#include "core/ports/AudioFormat.h"
#include "core/ports/PCMConverter.h"

namespace quillon {

// Brings each incoming buffer into the analyzer's format. A buffer already in that format passes
// through as it is; otherwise one converter per input format is kept, so its state carries from
// buffer to buffer, and replaced when the input format changes.
class PCMAnalyzerInputConverter {
public:
    PCMAnalyzerInputConverter(AudioFormat analyzerFormat, PCMConverterFactory& factory);

    // Zero or one buffer in the analyzer's format.
    std::expected<std::vector<PCMBuffer>, TranscriptionError> convert(PCMBuffer buffer);

    const AudioFormat& analyzerFormat() const { return analyzerFormat_; }

private:
    AudioFormat analyzerFormat_;
    PCMConverterFactory& factory_;
    std::unique_ptr<PCMConverter> converter_;
    std::optional<AudioFormat> converterInputFormat_;
};

}  // namespace quillon
