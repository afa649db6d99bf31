#include "core/transcription/PCMAnalyzerInputConverter.h"

namespace quillon {

PCMAnalyzerInputConverter::PCMAnalyzerInputConverter(AudioFormat analyzerFormat, PCMConverterFactory& factory)
    : analyzerFormat_(analyzerFormat), factory_(factory) {}

std::expected<std::vector<PCMBuffer>, TranscriptionError> PCMAnalyzerInputConverter::convert(PCMBuffer buffer) {
    std::vector<PCMBuffer> inputs;
    if (buffer.format == analyzerFormat_) {
        inputs.push_back(std::move(buffer));
        return inputs;
    }
    if (!converter_ || converterInputFormat_ != buffer.format) {
        converter_.reset();
        converterInputFormat_.reset();
        converter_ = factory_.makeConverter(buffer.format, analyzerFormat_);
        if (!converter_) return std::unexpected(TranscriptionError::audioConversionUnavailable());
        converterInputFormat_ = buffer.format;
    }
    auto converted = converter_->convert(buffer.samples);
    if (!converted) return std::unexpected(converted.error());
    if (!converted->empty()) inputs.push_back(PCMBuffer{analyzerFormat_, std::move(*converted)});
    return inputs;
}

}  // namespace quillon
